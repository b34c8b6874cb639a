#include "foundation/logger/Log.h"

#include "foundation/logger/CLoggerImpl.h"
#include "foundation/logger/CStaticLogger.h"
#include "foundation/support/Utf.h"

#include <exception>
#include <typeinfo>

namespace halvane {
namespace {

constexpr std::uint32_t kDrainMs = 5000;

struct Holder {
    CStaticLogger logger{1};
    ~Holder() { DrainLog(); } // deleting the logger alone would drop what is queued
};

Holder& TheHolder() {
    static Holder holder;
    return holder;
}

[[maybe_unused]] const Holder& createdAtStartUp = TheHolder();

} // namespace

void ProcessLog::Write(ILogger::LogLevel level, TextView format,
                       std::span<const FormatArgument> arguments) {
    ILogger& logger = TheLogger();
    if (level < logger.GetLogLevel()) return;
    try {
        logger.Write(level, FormatAll(format, arguments).c_str());
    } catch (const std::exception&) {
        // No memory for the text: whoever logs is not to suffer from it.
    }
}

void ProcessLog::InfoBytes(std::string_view what, std::string_view utf8) const {
    ILogger& logger = TheLogger();
    if (ILogger::LL_INFO < logger.GetLogLevel()) return;
    try {
        if (typeid(logger) == typeid(CLoggerImpl))
            return static_cast<CLoggerImpl&>(logger).WriteBytes(ILogger::LL_INFO, what, utf8);
        const std::optional<Text> text = FromUtf8(std::string(what).append(utf8));
        logger.Write(ILogger::LL_INFO, text.value_or(L"").c_str());
    } catch (const std::exception&) {
        // As above.
    }
}

ILogger& TheLogger() { return *TheHolder().logger; }

CStaticLogger& TheStaticLogger() { return TheHolder().logger; }

std::uint64_t LogLinesLost() {
    const auto* logger = dynamic_cast<CLoggerImpl*>(TheHolder().logger.Get());
    return logger != nullptr ? logger->Missing() : 0;
}

void DrainLog() {
    auto* logger = dynamic_cast<CLoggerImpl*>(TheHolder().logger.Get());
    if (logger != nullptr) logger->Drain(kDrainMs);
}

void ShutDownLog() {
    DrainLog();
    TheLogger().Close();
}

} // namespace halvane
