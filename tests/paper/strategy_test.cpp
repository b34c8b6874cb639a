#include "tests/paper/PaperTests.h"

namespace halvane::paper {
namespace {

// The members that all orders here have, and more behind them.
Text Json(const Text& more) {
    return LR"({"Account":"1000001","BrokerID":"PAPER","Symbol":"OV.S.PAPX.ALFA","Side":"1",)" +
           more + L"}";
}

using StrategyTest = ExchangeTest;

TEST_F(StrategyTest, BecomesOrdersOrARejectedReport) {
    const struct {
        const char* name;
        Text more;
        std::string trace;
        std::int32_t errorCode;
    } kCases[] = {
        // clang-format off
        {"texts",          LR"("StrategyType":"SIMPLE","OrderQty":"1","OrderType":"1")", "0:0 2:1 f1", 0},
        {"numbers",        LR"("StrategyType":"SIMPLE","OrderQty":1,"OrderType":2,"Price":99)", "0:0", 0},
        {"decimal text",   LR"("StrategyType":"SIMPLE","OrderQty":1,"OrderType":2,"Price":"99.0")", "0:0", 0},
        {"decimal",        LR"("StrategyType":"SIMPLE","OrderQty":1,"OrderType":2,"Price":99.00)", "0:0", 0},
        {"between ticks",  LR"("StrategyType":"SIMPLE","OrderQty":1,"OrderType":2,"Price":99.5)", "8:0", kOffTick},
        {"too fine",       LR"("StrategyType":"SIMPLE","OrderQty":1,"OrderType":2,"Price":"99.00000000001")", "8:0", kBadPrice},
        {"no number",      LR"("StrategyType":"SIMPLE","OrderQty":1,"OrderType":2,"Price":"1.2.3")", "8:0", kBadPrice},
        {"only a point",   LR"("StrategyType":"SIMPLE","OrderQty":1,"OrderType":2,"Price":".")", "8:0", kBadPrice},
        {"huge price",     LR"("StrategyType":"SIMPLE","OrderQty":1,"OrderType":2,"Price":1e300)", "8:0", kBadPrice},
        {"beyond limits",  LR"("StrategyType":"SIMPLE","OrderQty":1,"OrderType":2,"Price":200)", "8:0", kOutsidePriceLimits},
        {"no quantity",    LR"("StrategyType":"SIMPLE","OrderType":1)", "8:0", kBadQuantity},
        {"quantity is {}", LR"("StrategyType":"SIMPLE","OrderType":1,"OrderQty":{"a":1})", "8:0", kBadQuantity},
        {"unknown type",   LR"("StrategyType":"OTHER","OrderQty":1,"OrderType":1)", "8:0", kBadStrategy},
        {"no type",        LR"("OrderQty":1,"OrderType":1)", "8:0", kBadStrategy},
        {"market iceberg", LR"("StrategyType":"ICEBERG","OrderQty":4,"DiscloseQty":2,"OrderType":1)", "8:0", kBadStrategy},
        {"nothing shown",  LR"("StrategyType":"ICEBERG","OrderQty":4,"OrderType":2,"Price":99)", "8:0", kBadQuantity},
        {"all shown",      LR"("StrategyType":"ICEBERG","OrderQty":4,"DiscloseQty":4,"OrderType":2,"Price":99)", "0:0", 0},
        {"too many parts", LR"("StrategyType":"ICEBERG","OrderQty":101,"DiscloseQty":1,"OrderType":2,"Price":99)", "8:0", kBadQuantity},
        {"whole too dear", LR"("StrategyType":"ICEBERG","OrderQty":2000000,"DiscloseQty":50000,"OrderType":2,"Price":99)", "8:0", kBadQuantity},
        // clang-format on
    };
    for (const auto& each : kCases) {
        exchange_.Step();
        Trace();
        exchange_.NewStrategyOrder(Json(each.more));
        EXPECT_EQ(Trace(), each.trace) << each.name;
        EXPECT_EQ(lastReport_.state.errorCode, each.errorCode) << each.name;
        exchange_.CancelOrder(lastReport_.order->ReportId());
    }
}

TEST_F(StrategyTest, NobodyIsToldOfWhatCannotBePlaced) {
    const Text kTexts[] = {
        L"",
        L"[]",
        L"{",
        L"{}",
        LR"({"StrategyType":"SIMPLE","Symbol":"OV.S.PAPX.ALFA"})",
        LR"({"Account":"1000001","BrokerID":"PAPER","Symbol":"OV.S.PAPX.NONE"})",
        LR"({"Account":1000001,"BrokerID":"PAPER","Symbol":"OV.S.PAPX.ALFA"})",
        Text(1'000'000, L'['),
        L"{\"a\":" + Text(1'000'000, L'[') + Text(1'000'000, L']') + L"}",
    };
    for (const Text& text : kTexts)
        exchange_.NewStrategyOrder(text);
    EXPECT_TRUE(exchange_.TakeNotices().empty());
}

TEST_F(StrategyTest, ReportsNameTheStrategyAndCarryItsKeys) {
    exchange_.NewStrategyOrder(Json(
        LR"("StrategyType":"SIMPLE","OrderQty":1,"OrderType":1,"UserKey1":"one","UserKey2":"a",)"
        LR"("UserKey3":"key|Halvane","UserKey4":4,"UserKey100":"z;z","UserKey101":"no","GroupID":"g")"));
    Trace();
    const KeptTicket& ticket = lastReport_.order->ticket;
    EXPECT_EQ(ticket.Get(&Ticket::strategy), L"SIMPLE");
    EXPECT_EQ(ticket.Get(&Ticket::userKey1), L"one");
    EXPECT_EQ(ticket.Get(&Ticket::userKey2), L"UK#2=a;UK#3=key|Halvane;UK#100=z;z");
    EXPECT_EQ(ticket.Get(&Ticket::group), L"g");
}

// A part goes out when the one before is filled; the background sells one piece a tick.
TEST_F(StrategyTest, AnIcebergShowsOnePartAtATime) {
    exchange_.NewStrategyOrder(Json(
        LR"("StrategyType":"ICEBERG","OrderQty":5,"DiscloseQty":2,"OrderType":2,"Price":"102")"));
    EXPECT_EQ(Trace(), "0:0 1:1 f1");
    const Text first = lastReport_.order->ReportId();
    exchange_.Step();
    EXPECT_EQ(Trace(), "2:2 f1 0:0");
    EXPECT_NE(lastReport_.order->ReportId(), first);
    EXPECT_EQ(lastReport_.order->ticket.Get(&Ticket::strategy), L"ICEBERG");
    exchange_.Step();
    exchange_.Step();
    EXPECT_EQ(Trace(), "1:1 f1 2:2 f1 0:0");
    EXPECT_EQ(lastReport_.order->ticket.quantity, 1);
    for (int tick = 0; tick < 3; ++tick)
        exchange_.Step();
    EXPECT_EQ(Trace(), "2:1 f1");
    EXPECT_EQ(exchange_.Accounts()[0]->Held()[0]->net, 5);
    EXPECT_EQ(exchange_.Accounts()[0]->Reckon().frozen.Total(), 0);
}

TEST_F(StrategyTest, WhoCancelsThePartThatWorksEndsTheStrategy) {
    exchange_.NewStrategyOrder(Json(
        LR"("StrategyType":"ICEBERG","OrderQty":6,"DiscloseQty":1,"OrderType":2,"Price":"102")"));
    EXPECT_EQ(Trace(), "0:0 2:1 f1 0:0");
    EXPECT_EQ(Replace(lastReport_.order->ReportId(), 0, 98 * kE10), kAccepted);
    Send(exchange_, {kStock, kSell, kLimit, kDay, 3, 98 * kE10, kNoInt64, L"1000002"});
    // The bid serves the sale first, then the part, then the part after it at the part's new price.
    Trace();
    EXPECT_EQ(lastReport_.state.priceE10, 98 * kE10);
    EXPECT_EQ(exchange_.CancelOrder(lastReport_.order->ReportId()), kAccepted);
    Trace();
    exchange_.Step();
    EXPECT_EQ(Trace(), "");
}

// An ordinary order of futures and options is sliced as well; its reports number the parts.
TEST_F(StrategyTest, AnOrderCanBeSliced) {
    Wish wish{kFuture, kBuy, kLimit, kDay, 5, 1002 * kE10};
    wish.shown = 2;
    Send(exchange_, wish);
    for (int tick = 0; tick < 5; ++tick)
        exchange_.Step();
    EXPECT_EQ(Trace(), "0:0 1:1 f1 2:2 f1 0:0 1:1 f1 2:2 f1 0:0 2:1 f1");
    EXPECT_EQ(lastReport_.order->slice, 3);
    wish.timeInForce = kImmediateOrCancel;
    PaperParameters parameters;
    PutWish(parameters, wish);
    EXPECT_EQ(exchange_.NewOrder(ReadTicket(kFutOptOrder, parameters)), kBadStrategy);
    parameters.PutInt(fut_opt_order_id::kInterval, 1); // slices by time
    EXPECT_EQ(exchange_.NewOrder(ReadTicket(kFutOptOrder, parameters)), kFeatureUnsupported);
}

} // namespace
} // namespace halvane::paper
