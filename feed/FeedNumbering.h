#pragma once

#include "feed/FeedQueue.h"
#include "feed/FeedRow.h"

#include <map>
#include <vector>

namespace halvane {

// Gives what was published its number and looks after it that nothing gets two. Of the feed's
// thread alone.
class FeedNumbering {
  public:
    // Of this run of the program: when it started, by the world's time, and a part that is drawn.
    FeedNumbering();

    const std::string& Run() const { return run_; }
    std::int64_t Lost() const { return lost_; } // publications of this run that no row holds

    // Goes on behind the last row of the journal, and never back.
    void StartBehind(std::int64_t last, std::int64_t timeNs);

    // The rows of the oldest entries, which are taken out of `entries`: up to `most` of them, and
    // none behind a mark.
    std::vector<FeedRow> Number(std::deque<FeedEntry>& entries, std::size_t most);

    // From here on reports and fills are compared: what the platform restores is left out when it
    // was published meanwhile, and what is published when it was restored before.
    void BeginComparing();
    void EndComparing();

  private:
    FeedRow RowOf(FeedEntry&& entry);
    bool IsThere(const FeedEntry& entry);

    std::string run_;
    std::int64_t last_ = 0;
    std::int64_t lastTimeNs_ = 0;
    std::int64_t lost_ = 0;
    bool comparing_ = false;
    std::map<std::string, int, std::less<>> ahead_; // by key: published less restored
};

} // namespace halvane
