#pragma once

#include "foundation/support/WorkQueue.h"

#include <functional>
#include <thread>

namespace halvane::paper {

// Runs events one after the other, in the order in which they were posted, on one thread of its
// own. Posting never waits for an event. The end waits for the running event and drops the rest.
// Safe from any thread, events included.
class EventQueue {
  public:
    using Event = std::function<void()>;

    EventQueue();

    void Post(Event event) { events_.Post(std::move(event)); }

    // Events wait from Hold to Release, those that were posted before as well.
    void Hold() { events_.Hold(); }
    void Release() { events_.Release(); }

  private:
    void Run(const std::stop_token& stop);

    WorkQueue<Event> events_;
    std::jthread thread_; // last: it uses the queue
};

} // namespace halvane::paper
