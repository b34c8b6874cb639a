#include "tests/feed/FeedTests.h"

#include <sys/resource.h>

#include <algorithm>
#include <csignal>

namespace halvane {
namespace {

// As long as it lives the system lets no file grow.
class FullDisk {
  public:
    FullDisk() {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit none{0, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &none);
    }
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &before_); }

  private:
    rlimit before_{};
};

TEST_F(FeedTest, AFullDiskIsOutlivedAndWhatItCostIsSaid) {
    options.queueBytes = 100'000;
    Start();
    feed->Post(Fill("before"));
    WaitFor(1);
    std::optional<FullDisk> full(std::in_place);
    feed->Post(Fill("kept"));
    const FeedStatus failing =
        WaitUntil([](const FeedStatus& now) { return !now.failure.empty(); });
    EXPECT_GT(failing.failingSinceMs, 0);
    int posted = 0;
    do {
        feed->Post(Fill(std::to_string(posted++)));
    } while (feed->Status().waiting.lost < 100);
    EXPECT_EQ(Read().size(), 1U); // who asks is answered
    full.reset();
    const std::int64_t last = 2 + posted + 1; // the row of the gap comes last
    const FeedStatus status = WaitFor(last);
    EXPECT_EQ(status.failure, L"");
    EXPECT_EQ(status.lost, 100);
    EXPECT_EQ(status.last, last);
    feed->Post(Fill("behind"));
    WaitFor(last + 1);
    const std::vector<FeedRow> rows = Read({.kinds = {"FILLEDREPORT"}});
    ASSERT_EQ(rows.size(), static_cast<std::size_t>(posted) - 100 + 4);
    EXPECT_EQ(rows[1].json, Fill("kept"));
    const FeedRow& gap = rows[rows.size() - 2];
    EXPECT_EQ(gap.number, last);
    EXPECT_EQ(gap.json, R"({"DataType":"FEEDGAP","From":")" + std::to_string(last - 100) +
                            R"(","To":")" + std::to_string(last - 1) + "\"}");
    EXPECT_EQ(rows[rows.size() - 3].number, last - 101);
    const auto lines = log.Lines();
    EXPECT_EQ(std::ranges::count_if(lines, [](const auto& line) { return line[0] == 'E'; }), 1);
}

} // namespace
} // namespace halvane
