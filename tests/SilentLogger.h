#pragma once

#include "foundation/logger/ILogger.h"

namespace halvane {

// A logger that is open at INFO and says nothing; others say on top of it what they do with a line,
// and how they end.
class SilentLogger : public ILogger {
  public:
    void Write(LogLevel, const wchar_t*) override {}
    int Open(const wchar_t*, LogLevel, int) override { return 1; }
    int Close() override { return 1; }
    int IsOpen() override { return 1; }
    int IsPrintToFile() override { return 1; }
    int IsPrintToScreen() override { return 0; }
    int GetPrintFlag() override { return 1; }
    LogLevel GetLogLevel() override { return LL_INFO; }
    const wchar_t* GetFileName() override { return L""; }
    int GetLastError() override { return 0; }
    void SetWindow(HWND__*) override {}
    HWND__* GetWindow() override { return nullptr; }
    void FreeLogMsg(const TLogMsg*) override {}
};

} // namespace halvane
