#include "app/PlatformChoice.h"

#include "tradeapi/com/Com.h"

#include <windows.h>

namespace halvane {
namespace {

// The host's work is done: a fault from here on, in the component or on a thread that still uses
// it, is no reason to report a failure.
LONG WINAPI EndAsMeant(EXCEPTION_POINTERS*) {
    TerminateProcess(GetCurrentProcess(), 0);
    return EXCEPTION_EXECUTE_HANDLER;
}

} // namespace

std::unique_ptr<TradeApi> MakeComponentTradeApi() { return MakeComTradeApi(); }

void UnloadComponents() {
    SetUnhandledExceptionFilter(EndAsMeant);
    UnloadComponentModules();
}

} // namespace halvane
