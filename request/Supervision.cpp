#include "request/Supervision.h"

#include "foundation/logger/Log.h"
#include "foundation/support/Clock.h"
#include "foundation/support/Utf.h"
#include "request/Sessions.h"

#include <stdexcept>

namespace halvane {

void ExecuteCheckPingTime(std::stop_token stop) {
    constexpr std::uint32_t kRoundMs = 10000;
    do {
        try {
            ReportSilentSessions();
        } catch (const std::exception& error) {
            Log().Error(L"ExecuteCheckPingTime() failed: %s", ReasonOf(error));
        }
    } while (TheClock().Sleep(kRoundMs, stop));
}

} // namespace halvane
