#pragma once

#include "feed/Feed.h"

#include <memory>
#include <thread>

namespace halvane {

class PublishWorker;
class TradeApi;

// Puts the feed behind the publisher, when Configs/Feed.ini turns it on, and has it take up what
// the platform did while the program was not running.
class FeedService {
  public:
    // Before the publisher starts. Without the file, or when that does not say so, nothing is
    // there.
    void Open(PublishWorker& publisher, const Text& ip);

    // Once the publisher hears the platform's events.
    void Recover(TradeApi& tradeApi);

    // No more calls to the platform follow.
    void StopRecovery() { recovery_ = {}; }
    // Writes what was published, which the publisher must not do any more.
    void Close() { feed_.reset(); }

    Feed* Get() { return feed_.get(); } // null when it is off

  private:
    std::unique_ptr<Feed> feed_;
    std::jthread recovery_;
};

} // namespace halvane
