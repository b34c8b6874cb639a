#include "paper/market/MarketClock.h"

namespace halvane::paper {

LocalMs MarketClock::LocalNow() const {
    return (start_ ? *start_ + elapsed_ : paper::LocalNow()) + skipped_;
}

void MarketClock::SkipToMidnight() {
    const LocalMs now = LocalNow();
    skipped_ += std::chrono::floor<std::chrono::days>(now) + std::chrono::days(1) - now;
}

} // namespace halvane::paper
