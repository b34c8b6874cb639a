#pragma once

#include "foundation/support/Clock.h"
#include "foundation/support/Export.h"

#include <cstdarg>
#include <cstddef>
#include <cstdint>

// The logger as modules loaded into the program see it: names, values and the order of the virtual
// operations are fixed, also for modules of other compilers, which call by the slots in that order.
// It lies outside the house's namespace because it is exported under its own names.

struct HWND__; // what a window handle points to; opaque, and without meaning outside Windows

class HALVANE_EXPORT ILogger {
  public:
    // Deliberately not the common order: DEBUG says more than TRACE.
    enum LogLevel : std::int32_t {
        LL_DEBUG = 1,
        LL_TRACE = 2,
        LL_INFO = 3,
        LL_WARN = 4,
        LL_ERROR = 5,
        LL_FATAL = 6,
        LL_NONE = 255,
    };

    static constexpr std::int32_t DEFAULT_LOG_LEVEL = LL_INFO;
    static constexpr std::int32_t PRINT_FLAG_FILE = 1;
    static constexpr std::int32_t PRINT_FLAG_SCREEN = 2; // post each message to the window
    static constexpr std::int32_t DEFAULT_PRINT_FLAG = PRINT_FLAG_FILE;

    // The window message that carries a record: its second parameter is a TLogMsg that the window
    // frees with FreeLogMsg, its first the logger's address with this tag OR-ed in.
    static constexpr std::int32_t LOG_MESSAGE = 0x1511;
    static constexpr std::int32_t LOGGER_FAKE_WINDOW_BASE = -2147479279; // 0x80001111

    // One message: a block of the C runtime's heap, its fields end to end. The text is UTF-16 on
    // every system, ends with a zero and goes on behind the structure.
    struct TLogMsg {
        std::uint32_t size; // of the block, in bytes: 30 + 2 * (length of the text + 1)
        std::int32_t level;
        std::uint32_t threadId;  // of the thread that logged
        halvane::LocalTime time; // when the message was queued; zeros before
        char16_t text[1];
    };

    // What a compiler with one slot for the deleting destructor calls there: ends the logger, frees
    // its memory if bit 0 of `flags` is set, and gives the address that it had. A virtual
    // destructor would take two slots here, and all that follow would stand one further.
    virtual void* Delete(unsigned int flags) = 0;

    // Opens for messages of at least this level, to the file, the window or both (PRINT_FLAG_...).
    // Null or "" names the default file, logs\<executable>.log beside the executable; the file that
    // is written carries date and number in its name. 1 for success, 0 for failure.
    virtual int Open(const wchar_t* fileName, LogLevel level, int printFlag) = 0;

    // Ends the writing; messages that are still queued are dropped. 0 when the logger is not open.
    virtual int Close() = 0;

    // Queues a finished text. Every logging operation ends here; none of them throws or waits for
    // the file, and what goes wrong is told by GetLastError alone.
    virtual void Write(LogLevel level, const wchar_t* text) = 0;

    // Write the text as it stands.
    virtual void Debug_0(const wchar_t* text);
    virtual void Trace_0(const wchar_t* text);
    virtual void Info_0(const wchar_t* text);
    virtual void Warn_0(const wchar_t* text);
    virtual void Error_0(const wchar_t* text);
    virtual void Fatal_0(const wchar_t* text);

    // Format as the wide printf of Windows does ("%s" is wide text) on the calling thread, then
    // write.
    virtual void LogV(LogLevel level, const wchar_t* format, va_list args);
    virtual void Log(LogLevel level, const wchar_t* format, ...);
    virtual void Debug(const wchar_t* format, ...);
    virtual void Trace(const wchar_t* format, ...);
    virtual void Info(const wchar_t* format, ...);
    virtual void Warn(const wchar_t* format, ...);
    virtual void Error(const wchar_t* format, ...);
    virtual void Fatal(const wchar_t* format, ...);

    // The same, but what the current level suppresses is not formatted either.
    virtual void TryLog(LogLevel level, const wchar_t* format, ...);
    virtual void TryDebug(const wchar_t* format, ...);
    virtual void TryTrace(const wchar_t* format, ...);
    virtual void TryInfo(const wchar_t* format, ...);
    virtual void TryWarn(const wchar_t* format, ...);
    virtual void TryError(const wchar_t* format, ...);
    virtual void TryFatal(const wchar_t* format, ...);

    virtual int IsOpen() = 0;
    virtual int IsPrintToFile() = 0;
    virtual int IsPrintToScreen() = 0;
    virtual int GetPrintFlag() = 0;
    virtual LogLevel GetLogLevel() = 0;       // LL_NONE while closed
    virtual const wchar_t* GetFileName() = 0; // without date and number; good until the next Close
    virtual int GetLastError() = 0;           // a code of ILogger_GetErrorDesc

    // The window that is sent LOG_MESSAGE; null for none.
    virtual void SetWindow(HWND__* window) = 0;
    virtual HWND__* GetWindow() = 0;
    virtual void FreeLogMsg(const TLogMsg* msg) = 0;

  protected:
    ~ILogger() = default;
};

static_assert(offsetof(ILogger::TLogMsg, text) == 28);

extern "C" {

// A new closed logger, or null when there is no memory.
HALVANE_EXPORT ILogger* ILogger_Create();
// Closes and deletes; null is ignored.
HALVANE_EXPORT void ILogger_Destroy(ILogger* logger);

// The name of a level ("-----" for what is none) and the text of an error code.
HALVANE_EXPORT const wchar_t* ILogger_GetLogLevelDesc(int level);
HALVANE_EXPORT const wchar_t* ILogger_GetErrorDesc(int code);
}
