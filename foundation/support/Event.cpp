#include "foundation/support/Event.h"

#include "foundation/support/Clock.h"

#include <utility>

namespace halvane {

NamedEvent::NamedEvent(NamedEvent&& other) noexcept
    : state_(std::exchange(other.state_, nullptr)) {}

// Looks again and again rather than waiting in the system, so that waits end with the clock that
// everything else goes by.
bool NamedEvent::Wait(std::uint32_t timeoutMs, std::stop_token stop) {
    constexpr std::uint32_t kLookMs = 10;
    const std::uint32_t start = TheClock().TickCount();
    while (!IsSignalled()) {
        if (TheClock().TickCount() - start >= timeoutMs) return false;
        if (!TheClock().Sleep(kLookMs, stop)) return IsSignalled();
    }
    return true;
}

} // namespace halvane
