#pragma once

#include "foundation/support/Guarded.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>

namespace halvane::paper {

// Runs events one after the other, in the order in which they were posted, on one thread of its
// own. Posting never waits for an event. The end waits for the running event and drops the rest.
// Safe from any thread, events included.
class EventQueue {
  public:
    using Event = std::function<void()>;

    EventQueue();

    void Post(Event event);

    // Events wait from Hold to Release, those that were posted before as well.
    void Hold();
    void Release();

  private:
    void Run(std::stop_token stop);

    std::mutex lock_;
    std::condition_variable_any posted_;
    std::deque<Event> events_ GUARDED_BY(lock_);
    bool held_ GUARDED_BY(lock_) = false;
    std::jthread thread_; // last: it uses the others
};

} // namespace halvane::paper
