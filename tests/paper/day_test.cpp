#include "foundation/support/Utf.h"
#include "paper/rows/ReportItems.h"
#include "tests/paper/PaperTests.h"

namespace halvane::paper {
namespace {

constexpr std::int64_t kDayMs = 24 * 60 * 60 * 1000;

// Days end while a test ticks; what the exchange tells then, also of resets and contracts.
class DayTest : public ExchangeTest {
  protected:
    std::vector<std::string> NextDay(int days = 1) {
        exchange_.TakeNotices();
        clock_.Advance(days * kDayMs);
        exchange_.Step();
        std::vector<std::string> told;
        for (const Notice& notice : exchange_.TakeNotices()) {
            if (const auto* report = std::get_if<ReportNotice>(&notice)) {
                told.push_back("report " + std::to_string(report->state.execType));
                lastReport_ = *report;
            } else if (std::holds_alternative<FillNotice>(notice)) {
                told.emplace_back("fill");
            } else if (std::holds_alternative<ResetNotice>(notice)) {
                told.emplace_back("reset");
            } else if (std::holds_alternative<ClearNotice>(notice)) {
                told.emplace_back("clear");
            }
        }
        return told;
    }

    void Fill(std::int32_t side, std::int32_t quantity) {
        for (std::int32_t lot = 0; lot < quantity; ++lot) {
            EnterId({kFuture, side, kMarket, kImmediateOrCancel, 1});
            exchange_.Step();
        }
    }
};

TEST_F(DayTest, WorkingOrdersEndWithTheirDay) {
    const Text resting = EnterId({kStock, kBuy, kLimit, kDay, 5, 95 * kE10});
    const Text waiting = EnterId({kStock, kBuy, kStop, 0, 5, kNoInt64, 105 * kE10});
    const std::vector<std::string> expected = {"report 12", "report 12", "reset"};
    EXPECT_EQ(NextDay(), expected);
    EXPECT_EQ(lastReport_.state.History(), L"0;12");
    PaperItem report(ItemClass::ExecutionReport);
    PutReport(report, *lastReport_.order, lastReport_.state);
    EXPECT_EQ(report.GetText(report_id::kExecTypeText), L"Expired");
    EXPECT_EQ(exchange_.CancelOrder(resting), kNotWorking);
    EXPECT_EQ(exchange_.CancelOrder(waiting), kNotWorking);
    EXPECT_EQ(TheAccount().Reckon().frozen.Total(), 0);
    EXPECT_EQ(NextDay(), std::vector<std::string>{"reset"});
    clock_.Advance(-kDayMs / 2); // a clock that is set back makes no day
    exchange_.Step();
    EXPECT_TRUE(exchange_.TakeNotices().empty());
}

// Five are sold on the first day; on the second one is sold and two are bought back.
TEST_F(DayTest, TodayBecomesYesterday) {
    Fill(kSell, 5);
    const std::int64_t firstProfit = Figure(kFuture, L"TdPnL");
    NextDay();
    EXPECT_EQ(Money().GetInt64(margin_id::kBeginningBalance), TheAccount().CashE6());
    EXPECT_EQ(Money().GetInt64(margin_id::kCommissions), 0);
    PaperItem row = Row();
    const std::int64_t settled = row.GetInt64(position_id::kPrevSettlementPrice);
    EXPECT_EQ(Money().GetInt64(margin_id::kPreMargin), settled / kE4 * 50 * 5 * 6 / 100);
    const std::pair<std::int32_t, std::int32_t> kMorning[] = {
        {28, 5}, {61, 5}, {63, 0}, {65, 5}, {78, 0}, {79, 0}, {41, 0},
    };
    for (const auto& [id, value] : kMorning)
        EXPECT_EQ(row.GetInt(id), value) << id;
    EXPECT_EQ(row.GetNamed(L"YdOrgNetQty"), L"-5");

    Fill(kSell, 1);
    Fill(kBuy, 2);
    row = Row();
    const std::pair<std::int32_t, std::int32_t> kEvening[] = {
        {28, 4}, {61, 4}, {63, 1}, {65, 3}, {77, 2}, {78, 1}, {79, 3}, {41, 1}, {42, 2},
    };
    for (const auto& [id, value] : kEvening)
        EXPECT_EQ(row.GetInt(id), value) << id;
    EXPECT_EQ(row.GetNamed(L"YdOrgShortQty"), L"5");

    const std::pair<TextView, std::int64_t> kFigures[] = {
        {L"ShortOI", 4},         {L"LongOI", 0},        {L"BuyFill", 2},
        {L"SellFill", 1},        {L"BSFill", 1},        {L"TdOpenQty", 1},
        {L"TdCloseQty", 2},      {L"OrderNumbers", 3},  {L"DealNumbers", 3},
        {L"CallOI", 0},          {L"DeleteNumbers", 0}, {L"PosFillRatio", kE10 * 4 / 3},
        {L"YdPnL", firstProfit}, {L"nobody", kNoInt64},
    };
    for (const auto& [name, value] : kFigures)
        EXPECT_EQ(Figure(kFuture, name), value) << ToUtf8(name);

    // By date, what was carried over counts from the close before.
    const std::int64_t last = ToInt64(row.GetNamed(L"MarketPrice")) * kE4;
    const std::int64_t bought = ToInt64(row.GetNamed(L"TdBuyAvgPrice"));
    const std::int64_t today = 50 * (5 * settled + 1000 * kE10 - 2 * bought - 4 * last);
    EXPECT_EQ(ToInt64(row.GetNamed(L"TodayProfit")), today);
    EXPECT_EQ(ToInt64(row.GetNamed(L"FloatProfitByDate")) +
                  row.GetInt64(position_id::kCloseProfitByDate),
              today);
    EXPECT_EQ(ToInt64(row.GetNamed(L"PNL")), firstProfit + today);
    EXPECT_EQ(Figure(kFuture, L"TdPnL"), today);
}

TEST_F(DayTest, ExpiredContractsAreSettledInCash) {
    Fill(kSell, 2);
    EnterId({kFuture, kBuy, kLimit, kDay, 1, 990 * kE10});
    const std::int64_t equity = TheAccount().Reckon().Equity();
    const std::vector<std::string> expected = {"report 12", "reset", "clear"};
    EXPECT_EQ(NextDay(60), expected);
    EXPECT_EQ(TheAccount().Held()[0]->net, 0);
    EXPECT_EQ(TheAccount().Reckon().margin, 0);
    EXPECT_EQ(TheAccount().Reckon().Equity(), equity);
    EXPECT_EQ(TheAccount().CashE6(), equity);
    EXPECT_EQ(Send(exchange_, {kFuture}), kContractExpired);
    EXPECT_EQ(NextDay(), std::vector<std::string>{"reset"}); // no second time
    EXPECT_EQ(Send(exchange_, {kStock}), kAccepted);
}

} // namespace
} // namespace halvane::paper
