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

// The house's own logger takes bytes; one that was put in its place takes text.
void Write(ILogger::LogLevel level, const auto& asBytes, const auto& asText) {
    ILogger& logger = TheLogger();
    if (level < logger.GetLogLevel()) return;
    try {
        if (typeid(logger) == typeid(CLoggerImpl))
            asBytes(static_cast<CLoggerImpl&>(logger));
        else
            logger.Write(level, asText().c_str());
    } catch (const std::exception&) {
        // No memory for the text: whoever logs is not to suffer from it.
    }
}

} // namespace

void ProcessLog::Write(ILogger::LogLevel level, TextView format,
                       std::span<const FormatArgument> arguments) {
    halvane::Write(
        level, [&](CLoggerImpl& own) { own.WriteBytes(level, {}, FormatUtf8(format, arguments)); },
        [&] { return FormatAll(format, arguments); });
}

void ProcessLog::InfoBytes(std::string_view what, std::string_view utf8) const {
    constexpr ILogger::LogLevel kLevel = ILogger::LL_INFO;
    halvane::Write(
        kLevel, [&](CLoggerImpl& own) { own.WriteBytes(kLevel, what, utf8); },
        [&] { return FromUtf8(std::string(what).append(utf8)).value_or(L""); });
}

ILogger& TheLogger() { return *TheHolder().logger; }

CStaticLogger& TheStaticLogger() { return TheHolder().logger; }

std::uint64_t LogLinesLost() {
    const auto* logger = dynamic_cast<CLoggerImpl*>(TheHolder().logger.Get());
    return logger != nullptr ? logger->Missing() : 0;
}

void SetLogOptions(const LogOptions& options) {
    auto* logger = dynamic_cast<CLoggerImpl*>(TheHolder().logger.Get());
    if (logger != nullptr) logger->SetOptions(options.escapeControls, options.keepDays);
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
