#include "app/FeedService.h"

#include "foundation/support/Process.h"
#include "publish/PublishWorker.h"

namespace halvane {

void FeedService::Open(PublishWorker& publisher, const Text& ip) {
    const Text ini = ExecutableFolder() + L"Configs" + kPathSeparator + L"Feed.ini";
    const auto options = ReadFeedOptions(ini);
    if (!options) return;
    feed_ = std::make_unique<Feed>(*options, ip);
    publisher.SetTap([feed = feed_.get()](std::string_view json) { feed->Post(json); });
}

void FeedService::Recover(TradeApi& tradeApi) { static_cast<void>(tradeApi); }

} // namespace halvane
