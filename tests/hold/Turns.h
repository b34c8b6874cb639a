#pragma once

#include "foundation/support/Clock.h"

#include <cstdint>

namespace halvane {

// All threads of a program that is linked with this take turns: one runs at a time, and when it has
// to wait, for a lock, a condition, a thread or the clock, an integer decides who goes on. When all
// wait for the clock, it jumps to the next who wakes. So a whole gateway with all its threads runs
// as one, does the same each time, and waits for nothing. What waits elsewhere, in a system call,
// may not be used; when nobody can go on, the program says so and ends.
class Turns : public Clock {
  public:
    static Turns& All();

    // What is drawn and what time it is from here on. Ticks begin at any number.
    void Begin(std::uint64_t seed, std::uint32_t firstTick);

    std::uint32_t TickCount() override { return firstTick_ + static_cast<std::uint32_t>(nowMs_); }
    std::int64_t UnixTimeMs() override { return kStartMs + nowMs_; }
    bool Sleep(std::uint32_t timeMs, std::stop_token stop = {}) override;

    std::int64_t NowMs() const { return nowMs_; } // since the beginning
    // Now and then another thread goes on from here.
    void MayPause();

  private:
    static constexpr std::int64_t kStartMs = 1'794'000'000'000;
    std::int64_t nowMs_ = 0;
    std::uint32_t firstTick_ = 0;
    friend struct Scheduler;
};

} // namespace halvane
