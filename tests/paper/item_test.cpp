#include "paper/rows/ReportItems.h"
#include "tests/paper/PaperTests.h"

namespace halvane::paper {
namespace {

TEST(PaperItem, GivesValuesInEveryType) {
    PaperItem item(ItemClass::Margin);
    item.Put(1, 7);
    item.Put(2, std::int64_t{5'000'000'000});
    item.Put(3, L"12x");
    item.Put(4, kNoInt);
    item.PutIndexed(9, {L"a", L"b"});
    EXPECT_EQ(item.GetInt(1), 7);
    EXPECT_EQ(item.GetText(2), L"5000000000");
    EXPECT_EQ(item.GetInt(2), INT32_MAX);
    EXPECT_EQ(item.GetInt64(3), 12);
    EXPECT_EQ(item.GetInt64(4), kNoInt64);
    EXPECT_EQ(item.GetInt(5), kNoInt);
    EXPECT_EQ(item.GetInt64(5), kNoInt64);
    EXPECT_EQ(item.GetText(5), L"");
    EXPECT_EQ(item.GetNamed(L"nobody"), L"");
    EXPECT_EQ(item.GetIndexed(9, 1), L"b");
    for (const auto& [id, index] : {std::pair(9, 2), std::pair(9, -1), std::pair(8, 0)})
        EXPECT_EQ(item.GetIndexed(id, index), L"");
    EXPECT_TRUE(std::holds_alternative<std::int64_t>(item.Value(2)));
    item.PutNamed(L"b", 2);
    item.PutNamed(L"a", L"one");
    EXPECT_EQ(item.GetNamed(L"a"), L"one"); // in whatever order they are asked for
    EXPECT_EQ(item.GetNamed(L"b"), L"2");
    item.Put(5000, 1); // no class has it
    item.Clear();
    for (const std::int32_t id : {1, 5000, -1})
        EXPECT_EQ(item.GetText(id), L"") << id;
    EXPECT_EQ(item.GetNamed(L"a"), L"");
}

TEST_F(ExchangeTest, ReportsAndFillsCarryWhatTheClientSent) {
    PaperParameters parameters;
    PutWish(parameters, {kFuture, kBuy, kLimit, kDay, 3, 1002 * kE10});
    parameters.PutText(fut_opt_order_id::kUserKey1, L"mine");
    parameters.PutText(fut_opt_order_id::kUserKey2, L"UK#2=A;UK#7=B");
    parameters.PutText(fut_opt_order_id::kSource, L"Halvane");
    parameters.PutText(fut_opt_order_id::kStrategy, L"swing");
    parameters.PutText(fut_opt_order_id::kExtCommands, L"HedgeFlag=3;DelayTransPosition=1");
    parameters.PutInt(fut_opt_order_id::kPositionEffect, 1);
    ASSERT_EQ(exchange_.NewOrder(ReadTicket(kFutOptOrder, parameters)), kAccepted);
    Trace();
    const Order& order = *lastReport_.order;
    PaperItem report(ItemClass::ExecutionReport);
    PutReport(report, order, lastReport_.state);
    const std::int64_t ask = order.fills.front()->priceE10;

    const std::pair<std::int32_t, const wchar_t*> kTexts[] = {
        {6, L"1000001"},        {7, L"PAPER"},  {43, kFuture},    {28, L"mine"},
        {29, L"UK#2=A;UK#7=B"}, {27, L"swing"}, {60, L"Halvane"}, {37, L"Partly filled"},
        {61, L"0;1"},           {49, L""},      {50, L""},        {51, L""},
    };
    for (const auto& [id, text] : kTexts)
        EXPECT_EQ(report.GetText(id), text) << id;
    const std::pair<std::int32_t, std::int32_t> kInts[] = {
        {17, kBuy}, {19, 3}, {20, 3}, {23, kLimit},        {24, kNoInt}, {48, kNoInt}, {25, 1},
        {26, kDay}, {31, 1}, {32, 2}, {33, kPartlyFilled}, {57, 0},      {39, 1},      {52, 0},
    };
    for (const auto& [id, value] : kInts)
        EXPECT_EQ(report.GetInt(id), value) << id;
    EXPECT_EQ(report.GetInt64(report_id::kPrice), 1002 * kE10);
    EXPECT_EQ(report.GetInt64(report_id::kStopPrice), kNoInt64);
    EXPECT_EQ(report.GetInt64(report_id::kTriggeredPrice), kNoInt64);
    EXPECT_EQ(report.GetInt64(report_id::kAvgPrice), ask);
    EXPECT_EQ(report.GetNamed(L"HedgeFlag"), L"3");
    EXPECT_EQ(report.GetNamed(L"SliceID"), L"");
    EXPECT_EQ(report.GetIndexed(report_id::kFillEntry, 0), order.fills.front()->FillId());

    PaperItem fill(ItemClass::Fill);
    PutFill(fill, *order.fills.front());
    EXPECT_EQ(fill.GetText(fill_id::kReportId), order.fills.front()->FillId());
    EXPECT_EQ(fill.GetText(fill_id::kOrderId), report.GetText(report_id::kOrderId));
    EXPECT_EQ(fill.GetText(fill_id::kUserKey2), L"UK#2=A;UK#7=B");
    EXPECT_EQ(fill.GetInt64(fill_id::kMatchedPrice), ask);
    EXPECT_EQ(fill.GetInt(fill_id::kMatchedQty), 1);
    EXPECT_EQ(fill.GetInt(fill_id::kTransactDate), report.GetInt(report_id::kTransactDate));

    exchange_.Step();
    exchange_.Step();
    Trace();
    PutReport(report, order, lastReport_.state);
    for (const std::int32_t at : {0, 1, 2})
        EXPECT_EQ(report.GetIndexed(report_id::kFillEntry, at),
                  order.fills.at(static_cast<std::size_t>(at))->FillId());
}

// A hand-made example: three futures are sold at the bid of 1000, one is bought back at the ask.
TEST_F(ExchangeTest, PositionAndMarginRowsAgreeWithTheFills) {
    EnterId({kFuture, kSell, kMarket, kDay, 3});
    exchange_.Step();
    exchange_.Step();
    Trace();
    EnterId({kFuture, kBuy, kMarket, kDay, 1});
    EnterId({kFuture, kBuy, kLimit, kDay, 5, 990 * kE10});
    ASSERT_EQ(TheAccount().Held().size(), 1u);
    const std::int64_t ask = exchange_.FindBook(kFuture)->LastE10();
    const std::int64_t lossPerLot = (ask - 1000 * kE10) * 50;

    PaperItem row = Row();
    EXPECT_EQ(row.GetText(position_id::kSymbol), kFuture);
    const std::pair<std::int32_t, std::int32_t> kInts[] = {
        {25, kSell}, {28, 2}, {60, 0}, {61, 2}, {68, 5}, {69, 0}, {77, 1},
        {78, 3},     {79, 4}, {38, 2}, {82, 0}, {41, 3}, {42, 1},
    };
    for (const auto& [id, value] : kInts)
        EXPECT_EQ(row.GetInt(id), value) << id;
    EXPECT_EQ(row.GetInt64(position_id::kAvgPrice), 1000 * kE10);
    EXPECT_EQ(row.GetInt64(position_id::kLongAvgPrice), kNoInt64);
    EXPECT_EQ(row.GetInt64(position_id::kShortAvgPrice), 1000 * kE10);
    EXPECT_EQ(row.GetInt64(position_id::kOpenCost), 1000 * kE10 * 50 * 2);
    EXPECT_EQ(row.GetInt64(position_id::kCloseProfit), -lossPerLot);
    EXPECT_EQ(row.GetInt64(position_id::kUnrealizedPl), -2 * lossPerLot);
    EXPECT_EQ(row.GetInt64(position_id::kCommission), 8 * kE10);
    EXPECT_EQ(row.GetInt64(position_id::kUsedMargin), ask * 50 * 2 / 100 * 6);
    EXPECT_EQ(row.GetInt64(position_id::kFrozenMargin),
              990 * kE10 * 50 * 3 / 100 * 6); // three of the five would open
    EXPECT_EQ(ToInt64(row.GetNamed(L"MarketPrice")), ask / kE4);
    EXPECT_EQ(ToInt64(row.GetNamed(L"TodayProfit")), -3 * lossPerLot);

    PaperItem money = Money();
    EXPECT_EQ(money.GetText(margin_id::kAccountName), L"PAPER account 1000001");
    EXPECT_EQ(money.GetInt64(margin_id::kBeginningBalance), 10'000'000 * kE6);
    EXPECT_EQ(money.GetInt64(margin_id::kEndingBalance),
              10'000'000 * kE6 - 8 * kE6 - lossPerLot / kE4);
    EXPECT_EQ(money.GetInt64(margin_id::kAccountValueAtMarket),
              money.GetInt64(margin_id::kEndingBalance) - 2 * lossPerLot / kE4);
    EXPECT_EQ(money.GetInt64(margin_id::kCurrMargin), row.GetInt64(position_id::kUsedMargin) / kE4);
    EXPECT_EQ(money.GetInt64(margin_id::kFrozenMargin),
              row.GetInt64(position_id::kFrozenMargin) / kE4);
    EXPECT_EQ(money.GetNamed(L"FundMortgageIn"), L"");

    Tracker tracker;
    tracker.Add(TheAccount());
    EXPECT_EQ(tracker.Entries(), L"PAPER-1000001:ALL");
    EXPECT_EQ(tracker.Instruments(L"PAPER-1000001:ALL"), kFuture);
    EXPECT_EQ(tracker.Figure(L"PAPER-1000001:ALL", kFuture, L"ShortOI"), 2);
    EXPECT_EQ(tracker.Figure(L"PAPER-1000001:ALL", kFuture, L"ClosePnL"),
              row.GetInt64(position_id::kCloseProfit));
    EXPECT_EQ(tracker.Figure(L"PAPER-1000001:ALL", kFuture, L"$Delta"), -2 * 50 * ask);
    EXPECT_EQ(tracker.Figure(L"", kFuture, L"ShortOI"), kNoInt64);
}

} // namespace
} // namespace halvane::paper
