#pragma once

#include "foundation/support/Mutex.h"
#include "relay/Row.h"

#include <chrono>
#include <condition_variable>
#include <vector>

namespace halvane::relay {

// What waits to be published: many put rows in, one takes them out. It holds so much; who has more
// waits. Safe from any thread.
class Outbox {
  public:
    // Waits for room. False when it is closed, and the row is gone: whoever follows the feed begins
    // again behind what the stream has.
    bool Put(Row row);

    // All that is there, once there is something; empty when the time is over.
    void Take(std::vector<Row>& rows, std::chrono::milliseconds timeout);

    void Open();  // empty
    void Close(); // nobody waits any more

  private:
    Mutex lock_;
    std::condition_variable_any changed_;
    std::vector<Row> rows_ GUARDED_BY(lock_);
    std::size_t bytes_ GUARDED_BY(lock_) = 0;
    bool open_ GUARDED_BY(lock_) = false;
};

} // namespace halvane::relay
