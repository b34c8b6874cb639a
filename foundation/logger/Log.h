#pragma once

#include "foundation/logger/ILogger.h"
#include "foundation/support/Format.h"

class CStaticLogger;

namespace halvane {

// The house's own way to the process-wide logger: formats that are checked when they are compiled,
// and nothing is formatted or allocated for what the level suppresses. It exists from the start of
// the program to its exit; what is logged before the host opens it is lost. Safe from any thread,
// and nothing is thrown.
class ProcessLog {
  public:
    template <class... Arguments> using Form = std::type_identity_t<FormatFor<Arguments...>>;

    template <class... Arguments>
    void Info(Form<Arguments...> format, const Arguments&... arguments) const {
        Put(ILogger::LL_INFO, format, arguments...);
    }
    // What came from a socket or is to go there, as it is: UTF-8 that holds no zero.
    void InfoBytes(std::string_view what, std::string_view utf8) const;
    template <class... Arguments>
    void Warn(Form<Arguments...> format, const Arguments&... arguments) const {
        Put(ILogger::LL_WARN, format, arguments...);
    }
    template <class... Arguments>
    void Error(Form<Arguments...> format, const Arguments&... arguments) const {
        Put(ILogger::LL_ERROR, format, arguments...);
    }
    template <class... Arguments>
    void Fatal(Form<Arguments...> format, const Arguments&... arguments) const {
        Put(ILogger::LL_FATAL, format, arguments...);
    }

  private:
    template <class... Arguments>
    static void Put(ILogger::LogLevel level, FormatFor<Arguments...> format,
                    const Arguments&... arguments) {
        const FormatArgument all[] = {arguments..., 0}; // one more: never none
        Write(level, format.text, {all, sizeof...(Arguments)});
    }
    static void Write(ILogger::LogLevel level, TextView format,
                      std::span<const FormatArgument> arguments);
};

inline ProcessLog Log() { return {}; }

// The logger behind it, to open and close it, and its holder, where another one can be put.
ILogger& TheLogger();
CStaticLogger& TheStaticLogger();

// How many of the messages that were logged will never stand in the file.
std::uint64_t LogLinesLost();

// What may be asked of the log beside its level.
struct LogOptions {
    bool escapeControls = false; // control characters as \u and four digits, so a line stays one
    int keepDays = 0;            // files of days further back are removed; 0 for none
};
void SetLogOptions(const LogOptions& options);

// Waits, for a few seconds at most, until all that was logged before this call has been written.
void DrainLog();

// Drains the log and closes it: nothing that was logged before an orderly end is lost.
void ShutDownLog();

} // namespace halvane
