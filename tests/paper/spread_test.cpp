#include "paper/rows/ReportItems.h"
#include "tests/paper/PaperTests.h"

#include <optional>

namespace halvane::paper {
namespace {

const Text kCalendar = L"OV.F2.PAPF.IDX.202612^IDX.202703";
const Text kCalls = L"OV.O2.PAPF.IDX.202612.C.20000^IDX.202612.C.21000";
const Text kOptionOnFuture = L"OV.FO.PAPF.IDX.202612^IDX.202612.C.20000";

// A spread order as a client writes it.
struct SpreadWish {
    Text symbol = kCalendar;
    Text symbolA{}, symbolB{};
    std::int32_t side = kBuy, side1 = 0, side2 = 0;
    std::int32_t orderType = kMarket, timeInForce = kDay, quantity = 1;
    std::optional<std::int64_t> priceE10{};
};

class SpreadTest : public ExchangeTest {
  protected:
    SpreadTest() : ExchangeTest(LegMarket()) {}

    std::int32_t SendSpread(const SpreadWish& wish) {
        PaperParameters parameters;
        PutWish(parameters,
                {wish.symbol, wish.side, wish.orderType, wish.timeInForce, wish.quantity});
        parameters.PutText(fut_opt_order_id::kSymbolA, wish.symbolA);
        parameters.PutText(fut_opt_order_id::kSymbolB, wish.symbolB);
        parameters.PutInt(fut_opt_order_id::kSide1, wish.side1);
        parameters.PutInt(fut_opt_order_id::kSide2, wish.side2);
        parameters.PutText(fut_opt_order_id::kPrice,
                           wish.priceE10 ? DecimalText(*wish.priceE10) : Text());
        return exchange_.NewOrder(ReadTicket(kFutOptOrder, parameters));
    }

    // What the background asks for the calendar, or bids when `side` sells.
    std::int64_t NetE10(std::int32_t side) const {
        return exchange_.FindBook(kFuture)->CurrentQuote().PriceFor(side) -
               exchange_.FindBook(kFarFuture)->CurrentQuote().PriceFor(Opposite(side));
    }
    std::int64_t NetOf(const wchar_t* symbol) const {
        for (const Position* position : TheAccount().Held()) {
            if (position->book == exchange_.FindBook(symbol)) return position->net;
        }
        return 0;
    }
};

TEST_F(SpreadTest, BothLegsTradeOrNeither) {
    constexpr int kAny = -1000;
    const struct {
        const char* name;
        std::int32_t side, timeInForce, quantity;
        int distance; // of the limit from the net price that the background has, in index points
        int ticks;
        const char* trace;
    } kCases[] = {
        // clang-format off
        {"market",             kBuy,  kDay,               1, kAny, 0, "0:0 2:1 f1 f1"},
        {"market in parts",    kSell, kDay,               2, kAny, 2, "0:0 1:1 f1 f1 2:2 f1 f1"},
        {"limit",              kBuy,  kDay,               1, 0,    0, "0:0 2:1 f1 f1"},
        {"limit out of reach", kBuy,  kDay,               1, -20,  2, "0:0"},
        {"sale out of reach",  kSell, kDay,               1, 20,   2, "0:0"},
        {"at once, in part",   kBuy,  kImmediateOrCancel, 3, 0,    2, "0:0 1:1 f1 f1 4:1"},
        {"all or none: none",  kBuy,  kFillOrKill,        2, 0,    2, "0:0 4:0"},
        {"all or none: all",   kSell, kFillOrKill,        1, 0,    0, "0:0 2:1 f1 f1"},
        {"beyond the limits",  kBuy,  kDay,               1, 9000, 0, "8:0"},
        {"not enough money",   kBuy,  kDay,             500, kAny, 0, "8:0"},
        // clang-format on
    };
    for (const auto& each : kCases) {
        exchange_.Step(); // the quotes are whole again
        Trace();
        SpreadWish wish{
            .side = each.side, .timeInForce = each.timeInForce, .quantity = each.quantity};
        if (each.distance != kAny) {
            wish.orderType = kLimit;
            wish.priceE10 = NetE10(each.side) + each.distance * kE10;
        }
        ASSERT_EQ(SendSpread(wish), kAccepted) << each.name;
        for (int tick = 0; tick < each.ticks; ++tick)
            exchange_.Step();
        EXPECT_EQ(Trace(), each.trace) << each.name;
        EXPECT_EQ(NetOf(kFuture), -NetOf(kFarFuture)) << each.name;
        exchange_.CancelOrder(lastReport_.order->ReportId());
    }
    EXPECT_EQ(TheAccount().Reckon().frozen.Total(), 0);
}

// The far leg has nothing to offer: the near one may not be left alone.
TEST_F(SpreadTest, OneLegAloneIsNotTraded) {
    Send(exchange_, {kFarFuture, kSell});
    Trace();
    SendSpread({.timeInForce = kImmediateOrCancel});
    EXPECT_EQ(Trace(), "0:0 4:0");
    EXPECT_EQ(exchange_.FindBook(kFuture)->CurrentQuote().askSize, 1);
}

TEST_F(SpreadTest, LegsMayBeNamedInSeveralWays) {
    const struct {
        SpreadWish wish;
        Text symbol;
        const wchar_t* first;
        const wchar_t* second;
        std::int64_t firstNet, secondNet;
    } kCases[] = {
        // clang-format off
        {{.symbol = kCalendar}, kCalendar, kFuture, kFarFuture, 1, -1},
        {{.symbol = Text(kFuture) + L"&" + kFarFuture, .side = kSell}, kCalendar, kFuture, kFarFuture, -1, 1},
        {{.symbol = kFuture, .symbolA = kFuture, .symbolB = kFarFuture, .side1 = kBuy, .side2 = kSell}, kCalendar, kFuture, kFarFuture, 1, -1},
        {{.symbol = kCall, .symbolB = kHighCall, .side2 = kBuy}, kCalls, kCall, kHighCall, 1, 1},
        {{.symbol = kOptionOnFuture, .side = kSell, .side2 = kSell}, kOptionOnFuture, kFuture, kCall, -1, -1},
        // clang-format on
    };
    for (const auto& each : kCases) {
        exchange_.Step();
        const std::int64_t first = NetOf(each.first), second = NetOf(each.second);
        ASSERT_EQ(SendSpread(each.wish), kAccepted);
        EXPECT_EQ(Trace(), "0:0 2:1 f1 f1");
        EXPECT_EQ(NetOf(each.first) - first, each.firstNet);
        EXPECT_EQ(NetOf(each.second) - second, each.secondNet);
        EXPECT_EQ(lastReport_.order->ticket.Get(&Ticket::symbol), each.symbol);
        PaperItem report(ItemClass::ExecutionReport), a(ItemClass::Fill), b(ItemClass::Fill);
        PutReport(report, *lastReport_.order, lastReport_.state);
        PutFill(a, *lastReport_.order->fills[0]);
        PutFill(b, *lastReport_.order->fills[1]);
        EXPECT_EQ(Text(a.GetText(fill_id::kSymbol)) + L" " + Text(b.GetText(fill_id::kSymbol)),
                  Text(each.first) + L" " + each.second);
        EXPECT_EQ(a.GetInt(fill_id::kSide), each.firstNet > 0 ? kBuy : kSell);
        EXPECT_EQ(b.GetInt(fill_id::kSide), each.secondNet > 0 ? kBuy : kSell);
        const std::int64_t sign = each.firstNet == each.secondNet ? 1 : -1;
        EXPECT_EQ(report.GetInt64(report_id::kAvgPrice),
                  a.GetInt64(fill_id::kMatchedPrice) + sign * b.GetInt64(fill_id::kMatchedPrice));
        EXPECT_EQ(report.GetInt(report_id::kFilledOrdersCount), 2);
    }
}

TEST_F(SpreadTest, RefusesWhatMakesNoSpread) {
    const struct {
        std::int32_t result;
        SpreadWish wish;
    } kCases[] = {
        {kUnfitSpread, {.symbol = L"^"}},
        {kUnfitSpread, {.symbol = L"&"}},
        {kUnknownSymbol, {.symbol = L"OV.F2.PAPF.IDX.202612^"}},
        {kUnfitSpread, {.symbol = L"OV.F2.PAPF.IDX.202612^IDX.202612"}},
        {kUnfitSpread, {.symbol = L"OV.F.PAPF.IDX.202612^IDX.202703"}},
        {kUnfitSpread, {.symbol = Text(kCall) + L"&" + kFuture}}, // the future comes first
        {kUnfitSpread, {.symbol = Text(kFuture) + L"&OV.F.OTHER.IDX.202703"}},
        {kUnknownSymbol, {.symbol = L"OV.F2.PAPF.IDX.202612^IDX.209912"}},
        {kUnfitSpread, {.symbolB = kFarFuture}}, // beside a combined symbol
        {kBadSide, {.side = 0}},
        {kBadSide, {.side1 = kSell}},
        {kBadSide, {.side2 = 3}},
        {kBadQuantity, {.quantity = 1001}},
        {kFeatureUnsupported, {.orderType = kStop}},
        {kBadPrice, {.orderType = kLimit}},
        {kOffTick, {.orderType = kLimit, .priceE10 = -kE10 - 1}},
        {kBadPrice, {.orderType = kLimit, .priceE10 = INT64_MIN}},
    };
    for (const auto& each : kCases) {
        EXPECT_EQ(SendSpread(each.wish), each.result) << each.result << " " << &each - kCases;
    }
    EXPECT_TRUE(exchange_.TakeNotices().empty());
}

TEST_F(SpreadTest, ReplaceAndCancel) {
    const std::int64_t askE10 = NetE10(kBuy); // below 0: the far month stands higher
    ASSERT_LT(askE10, 0);
    SendSpread({.orderType = kLimit, .quantity = 3, .priceE10 = askE10 - 20 * kE10});
    Trace();
    const Text id = lastReport_.order->ReportId();
    EXPECT_EQ(Replace(id, 0, askE10 + 1), kOffTick);
    EXPECT_EQ(Replace(id, 0, INT64_MIN), kBadPrice);
    EXPECT_EQ(Replace(id, 0, 100'000 * kE10), kOutsidePriceLimits);
    EXPECT_EQ(Replace(id, 500), kFundsShort);
    EXPECT_EQ(Replace(id, 4), kAccepted);
    EXPECT_EQ(Replace(id, 0, askE10), kAccepted);
    EXPECT_EQ(Trace(), "5:0 5:0 1:1 f1 f1");
    EXPECT_EQ(lastReport_.state.leaves, 3);
    EXPECT_EQ(exchange_.CancelOrder(id), kAccepted);
    EXPECT_EQ(exchange_.CancelOrder(id), kNotWorking);
    exchange_.Step();
    EXPECT_EQ(Trace(), "4:1");
    EXPECT_EQ(TheAccount().Reckon().frozen.Total(), 0);
}

} // namespace
} // namespace halvane::paper
