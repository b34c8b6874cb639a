#include "app/PlatformChoice.h"

#include "tradeapi/com/Com.h"

#include <windows.h>

namespace halvane {
namespace {

bool askedForComponent = false; // on the host's thread alone

// A fault in the component, or on a thread that still uses it, is no reason to report a failure
// when the work is done.
LONG WINAPI EndAsMeant(EXCEPTION_POINTERS*) {
    TerminateProcess(GetCurrentProcess(), 0);
    return EXCEPTION_EXECUTE_HANDLER;
}

} // namespace

std::unique_ptr<TradeApi> MakeComponentTradeApi() {
    askedForComponent = true;
    return MakeComTradeApi();
}

void ForgiveComponentFaults() {
    if (askedForComponent) SetUnhandledExceptionFilter(EndAsMeant);
}

void UnloadComponents() {
    if (askedForComponent) UnloadComponentModules();
}

} // namespace halvane
