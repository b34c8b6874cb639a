#pragma once

#include "foundation/support/Mutex.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <stop_token>
#include <string>
#include <string_view>

namespace halvane {

// What was published and has no number yet; or how much was lost here because there was no room; or
// a mark between them.
struct FeedEntry {
    enum class Kind : std::uint8_t { Live, Recovered, Lost, BeginComparing, EndComparing };
    Kind kind = Kind::Live;
    std::int64_t timeNs = 0; // of the last one, where several were lost
    std::string json = {};   // where it was published
    std::int64_t lost = 0;   // where some were

    bool IsMark() const { return kind == Kind::BeginComparing || kind == Kind::EndComparing; }
};

// From the publisher to the feed's thread. Posting copies and nothing else: it waits for nobody,
// and when what waits comes to the bound, the next ones are counted instead of kept, at their place
// in the order. Safe from any thread.
class FeedQueue {
  public:
    explicit FeedQueue(std::size_t mostBytes) : mostBytes_(mostBytes) {}

    void Post(std::string_view json, FeedEntry::Kind kind = FeedEntry::Kind::Live);
    void PostMark(FeedEntry::Kind kind);

    // All that waits, in order, once there is something or the time is over or a stop is requested.
    // What is taken does not count for the bound any more.
    std::deque<FeedEntry> TakeAll(std::uint32_t waitMs, const std::stop_token& stop);

    struct Waiting {
        std::size_t entries = 0;
        std::int64_t lost = 0; // among them, which will be a gap
    };
    Waiting Count();

  private:
    const std::size_t mostBytes_;
    Mutex lock_;
    std::condition_variable_any changed_;
    std::deque<FeedEntry> entries_ GUARDED_BY(lock_);
    std::size_t bytes_ GUARDED_BY(lock_) = 0;
    std::int64_t lost_ GUARDED_BY(lock_) = 0;
};

} // namespace halvane
