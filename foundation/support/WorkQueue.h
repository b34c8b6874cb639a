#pragma once

#include "foundation/support/Mutex.h"

#include <condition_variable>
#include <deque>
#include <optional>
#include <stop_token>

namespace halvane {

// What waits to be done by one thread, in the order in which others have posted it. Posting never
// waits for the work. Safe from any thread.
template <class Work> class WorkQueue {
  public:
    void Post(Work work) {
        {
            const MutexLock guard(lock_);
            work_.push_back(std::move(work));
        }
        changed_.notify_one();
    }

    // The oldest piece, once there is one; nothing when a stop is requested, whatever is left.
    std::optional<Work> Next(const std::stop_token& stop = {}) {
        MutexLock guard(lock_);
        changed_.wait(guard, stop, [this]() REQUIRES(lock_) { return IsReady(); });
        return stop.stop_requested() ? std::nullopt : Take();
    }

    // The oldest piece; nothing when there is none now.
    std::optional<Work> NextIfAny() {
        const MutexLock guard(lock_);
        return IsReady() ? Take() : std::nullopt;
    }

    // Work waits from Hold to Release, that which was posted before as well.
    void Hold() {
        const MutexLock guard(lock_);
        held_ = true;
    }
    void Release() {
        {
            const MutexLock guard(lock_);
            held_ = false;
        }
        changed_.notify_one();
    }

  private:
    bool IsReady() const REQUIRES(lock_) { return !held_ && !work_.empty(); }

    std::optional<Work> Take() REQUIRES(lock_) {
        std::optional<Work> oldest(std::move(work_.front()));
        work_.pop_front();
        return oldest;
    }

    Mutex lock_;
    std::condition_variable_any changed_;
    std::deque<Work> work_ GUARDED_BY(lock_);
    bool held_ GUARDED_BY(lock_) = false;
};

} // namespace halvane
