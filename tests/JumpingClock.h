#pragma once

#include "foundation/support/Clock.h"
#include "foundation/support/Mutex.h"

namespace halvane {

// A clock that stands still until a test moves it; sleepers wake when their time has come. Sleeps
// up to `selfMovingMs` move it themselves, so that retries and looks take no time at all.
class JumpingClock : public Clock {
  public:
    explicit JumpingClock(std::uint32_t selfMovingMs = 0) : selfMovingMs_(selfMovingMs) {}

    std::uint32_t TickCount() override {
        const MutexLock guard(lock_);
        return static_cast<std::uint32_t>(elapsedMs_) + firstTick_;
    }

    std::int64_t UnixTimeMs() override {
        const MutexLock guard(lock_);
        return startMs_ + elapsedMs_;
    }

    bool Sleep(std::uint32_t timeMs, std::stop_token stop) override {
        MutexLock guard(lock_);
        const std::int64_t end = elapsedMs_ + timeMs;
        if (timeMs <= selfMovingMs_) {
            MoveTo(end);
            return !stop.stop_requested();
        }
        ++sleeps_;
        changed_.notify_all();
        changed_.wait(guard, stop, [&] { return elapsedMs_ >= end; });
        return !stop.stop_requested();
    }

    void Advance(std::int64_t ms) {
        const MutexLock guard(lock_);
        MoveTo(elapsedMs_ + ms);
    }

    // How often a thread has gone to sleep, and a wait until that number is reached: a thread that
    // sleeps again has done its round.
    int Sleeps() {
        const MutexLock guard(lock_);
        return sleeps_;
    }
    void WaitForSleeps(int count) {
        MutexLock guard(lock_);
        changed_.wait(guard, [&] { return sleeps_ >= count; });
    }

    void MoveByItself(std::uint32_t upToMs) {
        const MutexLock guard(lock_);
        selfMovingMs_ = upToMs;
    }

    void SetTick(std::uint32_t tick) {
        const MutexLock guard(lock_);
        firstTick_ = tick - static_cast<std::uint32_t>(elapsedMs_);
    }

    void SetUnixTimeMs(std::int64_t ms) {
        const MutexLock guard(lock_);
        startMs_ = ms - elapsedMs_;
    }

  private:
    void MoveTo(std::int64_t elapsedMs) {
        elapsedMs_ = elapsedMs;
        changed_.notify_all();
    }

    Mutex lock_;
    std::uint32_t selfMovingMs_;
    std::condition_variable_any changed_;
    std::int64_t elapsedMs_ = 0;
    std::int64_t startMs_ = 1'794'000'000'000;
    std::uint32_t firstTick_ = 1'000'000;
    int sleeps_ = 0;
};

} // namespace halvane
