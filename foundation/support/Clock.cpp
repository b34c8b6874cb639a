#include "foundation/support/Clock.h"

#include "foundation/support/Format.h"
#include "foundation/support/Mutex.h"

#include <atomic>
#include <chrono>
#include <new>
#include <thread>
#include <utility>

namespace halvane {
namespace {

using namespace std::chrono;

class SystemClock : public Clock {
  public:
    std::uint32_t TickCount() override {
        const auto since = steady_clock::now().time_since_epoch();
        return static_cast<std::uint32_t>(duration_cast<milliseconds>(since).count());
    }

    std::int64_t UnixTimeMs() override {
        return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    }

    std::int64_t UnixTimeNs() override {
        return duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count();
    }

    bool Sleep(std::uint32_t timeMs, std::stop_token stop) override {
        const auto end = steady_clock::now() + milliseconds(timeMs);
        try {
            Mutex mutex;
            std::condition_variable_any wake;
            MutexLock lock(mutex);
            wake.wait_until(lock, stop, end, [] { return false; });
        } catch (const std::bad_alloc&) { // who waits for memory may not need any for it
            while (!stop.stop_requested() && steady_clock::now() < end)
                std::this_thread::sleep_for(milliseconds(1));
        }
        return !stop.stop_requested();
    }
};

std::atomic<Clock*>& CurrentClock() {
    static SystemClock system;
    static std::atomic<Clock*> current = &system;
    return current;
}

} // namespace

Clock& TheClock() { return *CurrentClock().load(std::memory_order_acquire); }

std::int64_t SteadyTimeUs() {
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

ScopedClock::ScopedClock(Clock& clock) : previous_(CurrentClock().exchange(&clock)) {}
ScopedClock::~ScopedClock() { CurrentClock() = previous_; }

LocalTime ToLocalTime(std::int64_t unixTimeMs) {
    // Every log line asks, and the system looks up the time zone's rules each time.
    thread_local std::time_t second = -1;
    thread_local std::tm parts{};
    if (std::exchange(second, static_cast<std::time_t>(unixTimeMs / 1000)) != unixTimeMs / 1000)
        parts = ToLocalParts(second);
    const auto narrow = [](int value) { return static_cast<std::uint16_t>(value); };
    return {narrow(parts.tm_year + 1900), narrow(parts.tm_mon + 1),
            narrow(parts.tm_wday),        narrow(parts.tm_mday),
            narrow(parts.tm_hour),        narrow(parts.tm_min),
            narrow(parts.tm_sec),         narrow(static_cast<int>(unixTimeMs % 1000))};
}

Text UtcText(std::int64_t unixTimeMs) {
    const sys_time<milliseconds> moment{milliseconds(unixTimeMs)};
    const auto day = floor<days>(moment);
    const year_month_day date(day);
    const hh_mm_ss time(moment - day);
    const auto number = [](auto value) { return static_cast<std::int32_t>(value); };
    return Format(L"%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", number(int{date.year()}),
                  number(unsigned{date.month()}), number(unsigned{date.day()}),
                  number(time.hours().count()), number(time.minutes().count()),
                  number(time.seconds().count()), number(time.subseconds().count()));
}

} // namespace halvane
