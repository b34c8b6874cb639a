#pragma once

#include "feed/Feed.h"
#include "foundation/support/Clock.h"
#include "tests/TempFolder.h"
#include "tests/host/TestHost.h"

#include <gtest/gtest.h>

namespace halvane {

// A report or a fill as it is published.
inline std::string Published(const std::string& kind, const std::string& id,
                             const std::string& account = "A1", const std::string& more = "0") {
    return R"({"DataType":")" + kind + R"(","Report":{"ReportID":")" + id + R"(","Account":")" +
           account + R"(","Symbol":"OV.S.X.A","CumQty":")" + more +
           R"(","TransactDate":"20261114","TransactTime":"100000000"}})";
}
inline std::string Fill(const std::string& id) { return Published("FILLEDREPORT", id); }

// A feed in a folder of its own, which can be ended and begun again.
class FeedTest : public testing::Test {
  protected:
    FeedTest() { options.folder = folder.TextOf("feed/"); }

    void Start() { feed.emplace(options, L"127.0.0.1"); }
    void End() { feed.reset(); }

    // Once the journal has come so far.
    FeedStatus WaitFor(std::int64_t last) {
        return WaitUntil([last](const FeedStatus& status) { return status.last >= last; });
    }
    FeedStatus WaitUntil(const std::function<bool(const FeedStatus&)>& reached) {
        for (int looks = 0; looks < 20'000; ++looks) { // for more than a minute
            if (const FeedStatus status = feed->Status(); reached(status)) return status;
            SystemSleep();
            clock.Advance(5);
        }
        ADD_FAILURE() << "not reached, last is " << feed->Status().last;
        return feed->Status();
    }
    // What lies in the journal, all pages, as "<number> <account> <symbol> <kind>" and what fits
    // the wish.
    std::vector<FeedRow> Read(ReplayWish wish = {}) {
        std::vector<FeedRow> rows;
        for (;;) {
            ReplayPage page = feed->Replay(wish);
            EXPECT_LE(page.rows.size(), kReplayPage);
            std::ranges::move(page.rows, std::back_inserter(rows));
            if (page.next > feed->Status().last) return rows;
            EXPECT_GT(page.next, wish.from);
            wish.from = page.next;
            wish.sinceNs.reset();
        }
    }
    // Of the system's time, which the test's clock does not move.
    static void SystemSleep() {
        Mutex mutex;
        std::condition_variable_any never;
        MutexLock lock(mutex);
        never.wait_for(lock, std::chrono::milliseconds(5));
    }

    JumpingClock clock{10};
    ScopedClock scopedClock{clock};
    LogKeeper log;
    TempFolder folder;
    FeedOptions options;
    std::optional<Feed> feed;
};

} // namespace halvane
