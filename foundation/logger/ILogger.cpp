#include "foundation/logger/ILogger.h"

#include "foundation/support/Strings.h"

#include <exception>
#include <new>

// An argument list can only be taken in the function that was called with it.
#define LOG_ARGS(level)                                                                            \
    va_list args;                                                                                  \
    va_start(args, format);                                                                        \
    LogV(level, format, args);                                                                     \
    va_end(args)

void ILogger::Debug_0(const wchar_t* text) { Write(LL_DEBUG, text); }
void ILogger::Trace_0(const wchar_t* text) { Write(LL_TRACE, text); }
void ILogger::Info_0(const wchar_t* text) { Write(LL_INFO, text); }
void ILogger::Warn_0(const wchar_t* text) { Write(LL_WARN, text); }
void ILogger::Error_0(const wchar_t* text) { Write(LL_ERROR, text); }
void ILogger::Fatal_0(const wchar_t* text) { Write(LL_FATAL, text); }

void ILogger::LogV(LogLevel level, const wchar_t* format, va_list args) {
    try {
        Write(level, halvane::FormatV(format, args).c_str());
    } catch (const std::exception&) {
        // No memory for the text: whoever logs is not to suffer from it.
    }
}

void ILogger::Log(LogLevel level, const wchar_t* format, ...) { LOG_ARGS(level); }
void ILogger::Debug(const wchar_t* format, ...) { LOG_ARGS(LL_DEBUG); }
void ILogger::Trace(const wchar_t* format, ...) { LOG_ARGS(LL_TRACE); }
void ILogger::Info(const wchar_t* format, ...) { LOG_ARGS(LL_INFO); }
void ILogger::Warn(const wchar_t* format, ...) { LOG_ARGS(LL_WARN); }
void ILogger::Error(const wchar_t* format, ...) { LOG_ARGS(LL_ERROR); }
void ILogger::Fatal(const wchar_t* format, ...) { LOG_ARGS(LL_FATAL); }

void ILogger::TryLog(LogLevel level, const wchar_t* format, ...) {
    if (level < GetLogLevel()) return;
    LOG_ARGS(level);
}

void ILogger::TryDebug(const wchar_t* format, ...) {
    if (GetLogLevel() > LL_DEBUG) return;
    LOG_ARGS(LL_DEBUG);
}

void ILogger::TryTrace(const wchar_t* format, ...) {
    if (GetLogLevel() > LL_TRACE) return;
    LOG_ARGS(LL_TRACE);
}

void ILogger::TryInfo(const wchar_t* format, ...) {
    if (GetLogLevel() > LL_INFO) return;
    LOG_ARGS(LL_INFO);
}

void ILogger::TryWarn(const wchar_t* format, ...) {
    if (GetLogLevel() > LL_WARN) return;
    LOG_ARGS(LL_WARN);
}

void ILogger::TryError(const wchar_t* format, ...) {
    if (GetLogLevel() > LL_ERROR) return;
    LOG_ARGS(LL_ERROR);
}

void ILogger::TryFatal(const wchar_t* format, ...) {
    if (GetLogLevel() > LL_FATAL) return;
    LOG_ARGS(LL_FATAL);
}

const wchar_t* ILogger_GetLogLevelDesc(int level) {
    switch (level) {
    case ILogger::LL_DEBUG: return L"DEBUG";
    case ILogger::LL_TRACE: return L"TRACE";
    case ILogger::LL_INFO: return L"INFO";
    case ILogger::LL_WARN: return L"WARN";
    case ILogger::LL_ERROR: return L"ERROR";
    case ILogger::LL_FATAL: return L"FATAL";
    case ILogger::LL_NONE: return L"NONE";
    default: return L"-----";
    }
}
