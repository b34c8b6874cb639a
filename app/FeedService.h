#pragma once

#include "feed/Feed.h"
#include "foundation/support/WorkQueue.h"

#include <memory>
#include <stop_token>

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

    // Compares the platform's reports with the journal, once its trade data is loaded and then
    // whenever it has reset its reports. Returns when a stop is requested.
    void Recover(TradeApi& tradeApi, const std::stop_token& stop);

    // Writes what was published. To be called when the platform has no events any more.
    void Close() {
        if (feed_ != nullptr) feed_->End();
    }

    Feed* Get() { return feed_.get(); } // null when it is off

  private:
    enum class Reason { Start, Reset };

    void RecoverOnce(TradeApi& tradeApi, const std::stop_token& stop);

    std::unique_ptr<Feed> feed_;
    WorkQueue<Reason> wanted_;
};

} // namespace halvane
