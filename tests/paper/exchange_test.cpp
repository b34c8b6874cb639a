#include "tests/paper/PaperTests.h"

#include <functional>

namespace halvane::paper {
namespace {

constexpr int kNone = -1000;

std::int64_t FromTicks(int ticks) { return ticks == kNone ? kNoInt64 : (100 + ticks) * kE10; }

// Prices in ticks from the bid.
TEST_F(ExchangeTest, OrdersLiveTheirLives) {
    const struct {
        const char* name;
        std::int32_t side, orderType, timeInForce, quantity;
        int price, stop, ticks;
        const char* trace;
    } kCases[] = {
        // clang-format off
        {"market",            kBuy,  kMarket,    kDay,               1, kNone, kNone, 0, "0:0 2:1 f1"},
        {"market in parts",   kBuy,  kMarket,    kDay,               3, kNone, kNone, 2, "0:0 1:1 f1 1:2 f1 2:3 f1"},
        {"no time in force",  kSell, kMarket,    0,                  2, kNone, kNone, 1, "0:0 1:1 f1 2:2 f1"},
        {"limit beyond ask",  kBuy,  kLimit,     kDay,               2, 2,     kNone, 1, "0:0 1:1 f1 2:2 f1"},
        {"limit at bid",      kBuy,  kLimit,     kDay,               1, 0,     kNone, 3, "0:0"},
        {"sale at bid",       kSell, kLimit,     kDay,               1, 0,     kNone, 0, "0:0 2:1 f1"},
        {"at once, in part",  kBuy,  kMarket,    kImmediateOrCancel, 3, kNone, kNone, 2, "0:0 1:1 f1 4:1"},
        {"at once, nothing",  kSell, kLimit,     kImmediateOrCancel, 1, 3,     kNone, 0, "0:0 4:0"},
        {"all or none: none", kBuy,  kLimit,     kFillOrKill,        2, 2,     kNone, 2, "0:0 4:0"},
        {"all or none: all",  kBuy,  kLimit,     kFillOrKill,        1, 2,     kNone, 0, "0:0 2:1 f1"},
        {"stop reached",      kBuy,  kStop,      kDay,               1, kNone, -1,    0, "0:0 9:0 2:1 f1"},
        {"stop far away",     kSell, kStop,      kDay,               1, kNone, -5,    3, "0:0"},
        {"stop with limit",   kBuy,  kStopLimit, kDay,               1, -1,    0,     3, "0:0 9:0"},
        {"stop at once",      kBuy,  kStop,      kImmediateOrCancel, 2, kNone, -1,    0, "0:0 9:0 1:1 f1 4:1"},
        {"above the limit",   kBuy,  kLimit,     kDay,               1, 11,    kNone, 0, "8:0"},
        {"stop below limit",  kSell, kStop,      kDay,               1, kNone, -11,   0, "8:0"},
        {"not enough money",  kBuy,  kLimit,     kDay,         100'000, 2,     kNone, 0, "8:0"},
        // clang-format on
    };
    for (const auto& each : kCases) {
        exchange_.Step(); // the quote is whole again
        Trace();
        ASSERT_EQ(Send(exchange_, {kStock, each.side, each.orderType, each.timeInForce,
                                   each.quantity, FromTicks(each.price), FromTicks(each.stop)}),
                  kAccepted);
        for (int tick = 0; tick < each.ticks; ++tick)
            exchange_.Step();
        EXPECT_EQ(Trace(), each.trace) << each.name;
        exchange_.CancelOrder(lastReport_.order->ReportId());
    }
}

TEST_F(ExchangeTest, RejectionsSayWhy) {
    EXPECT_EQ(ErrorOf({kStock, kBuy, kLimit, kDay, 1'000'000, 900'000'000 * kE10}),
              kOutsidePriceLimits);
    EXPECT_EQ(ErrorOf({kStock, kBuy, kLimit, kDay, 1, 111 * kE10}), kOutsidePriceLimits);
    EXPECT_EQ(ErrorOf({kStock, kBuy, kMarket, kDay, 200'000}), kFundsShort);
    EXPECT_EQ(lastReport_.state.leaves, 0);
    EXPECT_EQ(exchange_.CancelOrder(lastReport_.order->ReportId()), kNotWorking);
}

TEST_F(ExchangeTest, UnfitOrdersAreRefusedAtTheDoor) {
    namespace id = stock_order_id;
    using Put = std::function<void(PaperParameters&)>;
    const struct {
        std::int32_t result;
        Put put;
    } kCases[] = {
        // clang-format off
        {kUnknownSymbol, [](auto& p) { p.PutText(id::kSymbol, L"OV.S.PAPX.ALF"); }},
        {kUnknownSymbol, [](auto& p) { p.PutText(id::kSymbol, L""); }},
        {kUnfitSpread, [](auto& p) { p.PutText(id::kSymbol, L"OV.F.PAPF.A^OV.F.PAPF.B"); }},
        {kUnknownAccount, [](auto& p) { p.PutText(id::kAccount, L"1"); }},
        {kUnknownAccount, [](auto& p) { p.PutText(id::kBrokerId, L""); }},
        {kWrongOrderKind, [](auto& p) { p.PutText(id::kSymbol, kFuture); }},
        {kBadSide, [](auto& p) { p.PutInt(id::kSide, 0); }},
        {kBadSide, [](auto& p) { p.PutInt(id::kSide, 3); }},
        {kBadOrderType, [](auto& p) { p.PutInt(id::kOrderType, 0); }},
        {kBadOrderType, [](auto& p) { p.PutInt(id::kOrderType, 5); }},
        {kBadTimeInForce, [](auto& p) { p.PutInt(id::kTimeInForce, 4); }},
        {kBadTimeInForce, [](auto& p) { p.PutInt(id::kTimeInForce, -1); }},
        {kBadQuantity, [](auto& p) { p.PutInt(id::kOrderQty, 0); }},
        {kBadQuantity, [](auto& p) { p.PutInt(id::kOrderQty, -1); }},
        {kBadQuantity, [](auto& p) { p.PutInt(id::kOrderQty, INT32_MAX); }},
        {kBadPrice, [](auto& p) { p.PutText(id::kPrice, L""); }},
        {kBadPrice, [](auto& p) { p.PutText(id::kPrice, L"0"); }},
        {kBadPrice, [](auto& p) { p.PutText(id::kPrice, L"-1000000000000"); }},
        {kBadPrice, [](auto& p) { p.PutText(id::kPrice, L"M+50000000000"); }},
        {kBadPrice, [](auto& p) { p.PutText(id::kPrice, L"1000000000000.5"); }},
        {kBadPrice, [](auto& p) { p.PutText(id::kPrice, L"99999999999999999999"); }},
        {kOffTick, [](auto& p) { p.PutText(id::kPrice, L"1000000000001"); }},
        {kBadStopPrice, [](auto& p) { p.PutInt(id::kOrderType, kStop), p.PutText(id::kStopPrice, L""); }},
        {kOffTick, [](auto& p) { p.PutInt(id::kOrderType, kStop), p.PutText(id::kStopPrice, L"5"); }},
        {kFeatureUnsupported, [](auto& p) { p.PutText(id::kChasePrice, L"1000000000000|1|2"); }},
        {kBadTouch, [](auto& p) { p.PutText(id::kTouchPrice, L"B+10000000000"); }},
        {kOffTick, [](auto& p) { p.PutText(id::kTouchPrice, L"5"); }},
        {kBadTouch, [](auto& p) { p.PutText(id::kTouchPrice, L"1000000000000"), p.PutInt(id::kTouchField, 4); }},
        {kBadTouch, [](auto& p) { p.PutText(id::kTouchPrice, L"1000000000000"), p.PutInt(id::kTouchCondition, 3); }},
        {kBadTouch, [](auto& p) { p.PutText(id::kTouchPrice, L"1000000000000"), p.PutInt(id::kOrderType, kStop); }},
        {kBadTouch, [](auto& p) { p.PutText(id::kTouchPrice, L"1000000000000"), p.PutInt64(id::kTrailingAmount, kE10); }},
        {kBadTrailing, [](auto& p) { p.PutInt64(id::kTrailingAmount, 10'000'000'000); }}, // a limit order
        {kBadTrailing, [](auto& p) { p.PutInt64(id::kTrailingAmount, -1), p.PutInt(id::kOrderType, kStop); }},
        {kBadTrailing, [](auto& p) { p.PutInt64(id::kTrailingAmount, INT64_MAX), p.PutInt(id::kOrderType, kStop); }},
        {kBadTrailing, [](auto& p) { p.PutInt64(id::kTrailingAmount, 1), p.PutInt(id::kOrderType, kStop), p.PutInt(id::kTrailingType, 3); }},
        {kBadTrailing, [](auto& p) { p.PutInt64(id::kTrailingAmount, 1), p.PutInt(id::kOrderType, kStop), p.PutInt(id::kTrailingField, -1); }},
        {kOffTick, [](auto& p) { p.PutInt64(id::kTrailingAmount, 1), p.PutInt(id::kOrderType, kStop); }},
    }; // clang-format on
    for (const auto& each : kCases) {
        PaperParameters parameters;
        PutWish(parameters, {kStock, kBuy, kLimit, kDay, 1, 100 * kE10});
        each.put(parameters);
        EXPECT_EQ(exchange_.NewOrder(ReadTicket(kStockOrder, parameters)), each.result);
    }
    EXPECT_EQ(exchange_.NewOrder(ReadTicket(7, PaperParameters())), kUnknownOrderKind);
    EXPECT_EQ(exchange_.NewOrder(ReadTicket(kStockOrder, PaperParameters())), kUnknownSymbol);
    EXPECT_TRUE(exchange_.TakeNotices().empty());
}

TEST_F(ExchangeTest, RefusesReplacementsThatCannotBe) {
    const Text limit = EnterId({kStock, kBuy, kLimit, kDay, 3, 102 * kE10}); // 1 filled
    const Text stop = EnterId({kStock, kSell, kStop, kDay, 3, kNoInt64, 95 * kE10});
    const Text market = EnterId({kFuture, kSell, kMarket, kDay, 3}); // 1 filled
    const struct {
        Text reportId;
        std::int32_t quantity;
        std::optional<std::int64_t> price, stop;
        std::int32_t result;
    } kCases[] = {
        {L"R0", 1, {}, {}, kUnknownReport},
        {L"", 1, {}, {}, kUnknownReport},
        {limit, 1, {}, {}, kBadQuantity}, // no more than is filled
        {limit, -5, {}, {}, kBadQuantity},
        {limit, 2'000'000, {}, {}, kBadQuantity},
        {limit, 999'999, {}, {}, kFundsShort},
        {limit, 0, 0, {}, kBadPrice},
        {limit, 0, 100 * kE10 + 1, {}, kOffTick},
        {limit, 0, 200 * kE10, {}, kOutsidePriceLimits},
        {limit, 0, {}, 100 * kE10, kBadStopPrice}, // has none
        {stop, 0, 100 * kE10, {}, kBadPrice},      // has none
        {market, 0, 100 * kE10, {}, kBadPrice},
        {stop, 0, {}, 94 * kE10, kAccepted},
        {market, 2, {}, {}, kAccepted},
    };
    for (const auto& each : kCases) {
        EXPECT_EQ(Replace(each.reportId, each.quantity, each.price, each.stop), each.result);
    }
    EXPECT_EQ(Trace(), "5:0 5:1");
}

TEST_F(ExchangeTest, AReplacementAtABetterPriceTradesAtOnce) {
    const Text order = EnterId({kStock, kBuy, kLimit, kDay, 5, 99 * kE10});
    EXPECT_EQ(Replace(order, 3, 102 * kE10), kAccepted);
    EXPECT_EQ(Trace(), "5:0 1:1 f1");
    EXPECT_EQ(lastReport_.state.quantity, 3);
    EXPECT_EQ(lastReport_.state.leaves, 2);
    EXPECT_EQ(lastReport_.state.priceE10, 102 * kE10);
    EXPECT_EQ(exchange_.CancelOrder(order), kAccepted);
    EXPECT_EQ(Trace(), "4:1");
    EXPECT_EQ(lastReport_.state.leaves, 0);
    EXPECT_EQ(exchange_.CancelOrder(order), kNotWorking);
    EXPECT_EQ(Replace(order, 9), kNotWorking);
    EXPECT_EQ(exchange_.CancelOrder(L"nobody"), kUnknownReport);
}

TEST_F(ExchangeTest, AllOrNoneCountsTheClientsToo) {
    EnterId({kStock, kBuy, kLimit, kDay, 4, 100 * kE10});
    Send(exchange_, {kStock, kSell, kLimit, kFillOrKill, 6, 100 * kE10, kNoInt64, L"1000002"});
    EXPECT_EQ(Trace(), "0:0 4:0");
    Send(exchange_, {kStock, kSell, kLimit, kFillOrKill, 5, 100 * kE10, kNoInt64, L"1000002"});
    EXPECT_EQ(Trace(), "0:0 1:1 f1 2:5 f4 2:4 f4");
}

// A limit keeps its distance from a stop that trails.
TEST_F(ExchangeTest, TheLimitComesAlongWithItsStop) {
    const auto sell = [&](std::int64_t price, const wchar_t* account) {
        Send(exchange_, {kStock, kSell, kLimit, kDay, 1, price * kE10, kNoInt64, account});
    };
    Wish wish{kStock, kBuy, kStopLimit, kDay, 1, 108 * kE10, 106 * kE10};
    wish.trailing = 3 * kE10;
    const Order& order = Enter(wish);
    EXPECT_EQ(order.state.stopE10 - order.book.LastE10(), 3 * kE10);
    EXPECT_EQ(order.state.priceE10 - order.state.stopE10, 2 * kE10);
    sell(100, L"1000002");
    EXPECT_EQ(order.state.stopE10, 103 * kE10);
    EXPECT_EQ(order.state.priceE10, 105 * kE10);
}

TEST_F(ExchangeTest, IdentitiesAreNeverGivenTwice) {
    const Text before = EnterId({kStock});
    clock_.Advance(1);
    Exchange restarted(StillMarket());
    Send(restarted, {kStock});
    const std::vector<Notice> notices = restarted.TakeNotices();
    const Order& order = *std::get<ReportNotice>(notices.front()).order;
    EXPECT_NE(order.ReportId(), before);
    EXPECT_NE(order.ReportId(), order.OrderId());
    EXPECT_NE(order.fills.front()->FillId(), order.OrderId());
}

} // namespace
} // namespace halvane::paper
