#include "paper/rows/ShownReports.h"
#include "tests/paper/PaperTests.h"

namespace halvane::paper {
namespace {

// What the lists lead to when all of it is walked.
std::vector<Text> WalkFills(const ShownReports& shown) {
    std::vector<Text> fills;
    for (const Text& id : shown.Ids(true)) {
        const ShownReports::Row& row = *shown.Find(id);
        for (std::size_t at = 0; at < row.state.fillCount; ++at)
            fills.push_back(row.order->fills[at]->FillId());
    }
    return fills;
}

std::vector<Text> Page(const std::vector<Text>& all, std::size_t start, std::size_t most) {
    const auto at = [&](std::size_t index) {
        return all.begin() + static_cast<std::ptrdiff_t>(std::min(index, all.size()));
    };
    return {at(start), at(start + most)};
}

class ShownReportsTest : public ExchangeTest {
  protected:
    ShownReports shown_;

    // Shows all that has happened but for the last reports.
    void Show(std::size_t butFor) {
        std::vector<Notice> notices = exchange_.TakeNotices();
        notices.resize(notices.size() - std::min(butFor, notices.size()));
        for (const Notice& notice : notices) {
            if (const auto* report = std::get_if<ReportNotice>(&notice))
                shown_.Show(*report->order, report->state);
        }
    }
};

// Orders that rest are filled long after others came, so fills join in the middle.
TEST_F(ShownReportsTest, PagesAreWhatTheWalkMeets) {
    for (int round = 0; round < 60; ++round) {
        Send(exchange_, {kStock, kBuy, kLimit, kDay, 7, (95 + round % 5) * kE10});
        Send(exchange_, {kStock, kSell, kLimit, kImmediateOrCancel, 1 + round % 9,
                         (96 + round % 4) * kE10, kNoInt64, L"1000002"});
        Show(round % 3 == 0 ? 2 : 0);
        const std::vector<Text> reports = shown_.Ids(false);
        const std::vector<Text> fills = WalkFills(shown_);
        ASSERT_EQ(shown_.CountReports(), reports.size());
        ASSERT_EQ(shown_.CountFills(), fills.size());
        for (std::size_t start = 0; start < fills.size() + 4; start += 3) {
            ASSERT_EQ(shown_.ReportIds(start, 5), Page(reports, start, 5)) << start;
            ASSERT_EQ(shown_.FillIds(start, 5), Page(fills, start, 5)) << start;
        }
    }
    EXPECT_GT(shown_.CountFills(), 100u);
    EXPECT_EQ(shown_.Find(shown_.Ids(false)[0] + L"x"), nullptr);
    EXPECT_EQ(shown_.Find(L""), nullptr);
}

} // namespace
} // namespace halvane::paper
