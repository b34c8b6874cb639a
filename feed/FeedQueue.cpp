#include "feed/FeedQueue.h"

#include "foundation/support/Clock.h"

#include <chrono>
#include <utility>

namespace halvane {

void FeedQueue::Post(std::string_view json, FeedEntry::Kind kind) {
    FeedEntry entry{kind, TheClock().UnixTimeNs(), std::string(json)};
    bool first = false;
    {
        const MutexLock guard(lock_);
        first = entries_.empty();
        if (bytes_ + json.size() > mostBytes_) {
            if (first || entries_.back().kind != FeedEntry::Kind::Lost)
                entries_.push_back({FeedEntry::Kind::Lost});
            entries_.back().timeNs = entry.timeNs;
            ++entries_.back().lost;
            ++lost_;
        } else {
            entries_.push_back(std::move(entry));
            bytes_ += json.size();
        }
    }
    if (first) changed_.notify_one();
}

void FeedQueue::PostMark(FeedEntry::Kind kind) {
    {
        const MutexLock guard(lock_);
        entries_.push_back({kind});
    }
    changed_.notify_one();
}

std::deque<FeedEntry> FeedQueue::TakeAll(std::uint32_t waitMs, const std::stop_token& stop) {
    MutexLock guard(lock_);
    changed_.wait_for(guard, stop, std::chrono::milliseconds(waitMs),
                      [this]() REQUIRES(lock_) { return !entries_.empty(); });
    bytes_ = 0;
    lost_ = 0;
    return std::exchange(entries_, {});
}

FeedQueue::Waiting FeedQueue::Count() {
    const MutexLock guard(lock_);
    return {entries_.size(), lost_};
}

} // namespace halvane
