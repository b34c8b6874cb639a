#include "app/FeedService.h"

#include "feed/FeedRecovery.h"
#include "foundation/logger/Log.h"
#include "foundation/support/Clock.h"
#include "foundation/support/Process.h"
#include "foundation/support/Settings.h"
#include "foundation/support/Utf.h"
#include "publish/PublishWorker.h"
#include "publish/ReportWalk.h"
#include "tradeapi/TradeData.h"

namespace halvane {
namespace {

constexpr std::uint32_t kReadyLookMs = 500;
constexpr std::uint32_t kRetryMs = 10'000;
constexpr int kTries = 6; // a row may be refused for ever

} // namespace

void FeedService::Open(PublishWorker& publisher, const Text& ip) {
    const Text ini = ExecutableFolder() + L"Configs" + kPathSeparator + L"Feed.ini";
    const auto options = ReadFeedOptions(ini);
    if (!options) return;
    feed_ = std::make_unique<Feed>(*options, ip);
    SetSetting(L"Feed", L"1");
    wanted_.Post(Reason::Start);
    publisher.SetTap([this](std::string_view json) {
        feed_->Post(json);
        if (json == R"({"DataType":"REPORTRESET"})") wanted_.Post(Reason::Reset);
    });
}

void FeedService::Recover(TradeApi& tradeApi, const std::stop_token& stop) {
    while (!IsTradeDataReady()) {
        if (!TheClock().Sleep(kReadyLookMs, stop)) return;
    }
    while (wanted_.Next(stop)) {
        while (wanted_.NextIfAny()) { // one look does for all of them
        }
        RecoverOnce(tradeApi, stop);
    }
}

void FeedService::RecoverOnce(TradeApi& tradeApi, const std::stop_token& stop) {
    const auto walk = [&](const std::function<void(std::string)>& take) {
        return WalkReports(tradeApi, take, stop);
    };
    for (int tries = 0; tries < kTries; ++tries) {
        try {
            if (AppendMissed(*feed_, walk, stop)) return;
            if (stop.stop_requested()) return;
            Log().Warn(L"[Feed]the platform refused rows; its reports are compared again");
        } catch (const std::exception& error) {
            feed_->EndComparing();
            Log().Error(L"[Feed]comparing the platform's reports failed: %s", ReasonOf(error));
        }
        if (!TheClock().Sleep(kRetryMs, stop)) return;
    }
    Log().Error(L"[Feed]some of the platform's reports could not be compared with the journal");
}

} // namespace halvane
