#pragma once

#include "foundation/support/Clock.h"

#include <algorithm>
#include <cstdint>

namespace halvane::paper {

// How often the market moves: `speed` seconds of its own in each of ours.
class Pacer {
  public:
    Pacer(std::int32_t stepMs, std::int32_t speed)
        : stepMs_(stepMs), speed_(speed), last_(TheClock().TickCount()) {}

    std::uint32_t PauseMs() const {
        return static_cast<std::uint32_t>(std::max(stepMs_ / speed_, 1));
    }

    // The steps that are due after a pause. A market at our own pace moves once, however long the
    // pause was; a faster one catches up, unless it was stopped for long.
    std::int64_t Due() {
        if (speed_ == 1) return 1;
        const std::uint32_t now = TheClock().TickCount();
        behindMs_ += std::int64_t{speed_} * std::min<std::uint32_t>(now - last_, kMostMs);
        last_ = now;
        const std::int64_t due = behindMs_ / stepMs_;
        behindMs_ %= stepMs_;
        return due;
    }

  private:
    static constexpr std::uint32_t kMostMs = 100;

    const std::int32_t stepMs_, speed_;
    std::uint32_t last_;
    std::int64_t behindMs_ = 0; // of the market's time
};

} // namespace halvane::paper
