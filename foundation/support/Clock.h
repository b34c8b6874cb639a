#pragma once

#include "foundation/support/Text.h"

#include <cstdint>
#include <ctime>
#include <stop_token>

namespace halvane {

// Time and waiting. Everything that reads the time or sleeps does it through TheClock(), so that a
// test can put a clock of its own in place and no test has to wait. Safe from any thread.
class Clock {
  public:
    virtual ~Clock() = default;

    // Milliseconds since the system started, wrapping at 2^32.
    virtual std::uint32_t TickCount() = 0;

    // Milliseconds since 1970-01-01 UTC.
    virtual std::int64_t UnixTimeMs() = 0;

    // Nanoseconds since then, as finely as the clock knows.
    virtual std::int64_t UnixTimeNs() { return UnixTimeMs() * 1'000'000; }

    // Sleeps for the time, or until a stop is requested: then it returns false at once.
    virtual bool Sleep(std::uint32_t timeMs, std::stop_token stop = {}) = 0;
};

Clock& TheClock();

// Microseconds of a clock that only goes forward, for measuring how long something took: no test
// jumps it. Safe from any thread.
std::int64_t SteadyTimeUs();

// Puts another clock in place for as long as it lives.
class ScopedClock {
  public:
    explicit ScopedClock(Clock& clock);
    ~ScopedClock();
    ScopedClock(const ScopedClock&) = delete;
    ScopedClock& operator=(const ScopedClock&) = delete;

  private:
    Clock* previous_;
};

// A moment as the wall clock of this place shows it; laid out as Windows' SYSTEMTIME.
struct LocalTime {
    std::uint16_t year, month, dayOfWeek, day, hour, minute, second, milliseconds;
};

LocalTime ToLocalTime(std::int64_t unixTimeMs);

// The same in the C library's form, without the milliseconds.
std::tm ToLocalParts(std::time_t seconds);

// As "2026-11-22T09:42:26.125Z".
Text UtcText(std::int64_t unixTimeMs);

} // namespace halvane
