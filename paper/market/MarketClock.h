#pragma once

#include "paper/base/Calendar.h"

#include <cstdint>
#include <optional>

namespace halvane::paper {

// The market's own time. Without a start it goes with the clock of this machine. With one it moves
// by the market's steps alone, so that what happens at a time does not depend on how fast the
// machine is or how many seconds of the market go into one of ours.
class MarketClock {
  public:
    explicit MarketClock(std::optional<LocalMs> start)
        : start_(start), begun_(start ? *start : paper::LocalNow()) {}

    LocalMs Begun() const { return begun_; }
    // Since then, without what was skipped.
    std::int64_t ElapsedMs() const { return (LocalNow() - skipped_ - begun_).count(); }

    LocalMs LocalNow() const;
    Stamp Now() const { return StampOf(LocalNow()); }
    Day Today() const { return DayOf(LocalNow()); }

    void Advance(std::int64_t ms) { elapsed_ += std::chrono::milliseconds(ms); }
    // Goes on at the next midnight.
    void SkipToMidnight();

  private:
    std::optional<LocalMs> start_;
    LocalMs begun_;
    std::chrono::milliseconds elapsed_{0}; // by steps
    std::chrono::milliseconds skipped_{0};
};

} // namespace halvane::paper
