#include "tests/paper/PaperTests.h"

namespace halvane::paper {
namespace {

struct Case {
    const char* name;
    std::int32_t side, orderType;
    int touch, touchField, touchCondition; // in ticks from the last price, 0: none
    int trail, trailingField, trailingType;
    int stop; // as touch; for an order that trails 0 means none
};

// clang-format off
constexpr Case kCases[] = {   //              touch                    trails              stop
    {"buy at a lower price",  kBuy,  kMarket,    -3, 0,         0,          0, 0,         0,        0},
    {"sell at a higher one",  kSell, kMarket,     3, kBidPrice, 0,          0, 0,         0,        0},
    {"buy when the ask is up",kBuy,  kMarket,     4, kAskPrice, kAtOrAbove, 0, 0,         0,        0},
    {"limit, once it is down",kSell, kLimit,     -4, kLastPrice,kAtOrBelow, 0, 0,         0,        0},
    {"stop",                  kSell, kStop,       0, 0,         0,          0, 0,         0,       -5},
    {"sell trails",           kSell, kStop,       0, 0,         0,          6, 0,         0,        0},
    {"buy trails by the ask", kBuy,  kStop,       0, 0,         0,          6, kAskPrice, kByTicks, 0},
    {"from a stop far away",  kSell, kStop,       0, 0,         0,          5, kBidPrice, kByAmount,-20},
    {"the limit comes along", kBuy,  kStopLimit,  0, 0,         0,          4, kLastPrice,kByTicks, 9},
};
// clang-format on

std::int64_t FieldOf(const Book& book, std::int32_t field) {
    const Quote& quote = book.CurrentQuote();
    return field == kBidPrice ? quote.bidE10 : field == kAskPrice ? quote.askE10 : book.LastE10();
}

std::ostream& operator<<(std::ostream& out, const Case& each) { return out << each.name; }

class TriggerTest : public ExchangeTest, public ::testing::WithParamInterface<Case> {
  protected:
    TriggerTest() : ExchangeTest(BuiltInMarket(DayOf(20261106))) {}

    Wish WishFor(const Case& each) const {
        const std::int64_t start = book_.LastE10();
        const auto at = [&](int ticks) { return ticks == 0 ? kNoInt64 : start + ticks * kE10; };
        Wish wish{kFuture, each.side, each.orderType};
        if (each.orderType == kLimit) wish.priceE10 = start;
        if (each.orderType == kStopLimit) wish.priceE10 = start + 12 * kE10;
        wish.stopE10 = at(each.stop);
        wish.touchE10 = at(each.touch);
        wish.touchField = each.touchField;
        wish.touchCondition = each.touchCondition;
        wish.trailing = each.trail * (each.trailingType == kByTicks ? 1 : kE10);
        wish.trailingField = each.trailingField;
        wish.trailingType = each.trailingType;
        return wish;
    }

    const Book& book_ = *exchange_.FindBook(kFuture);
};

// An order is triggered by the first price that reaches its own, not by one before it. Prices are
// watched here as they are shown, and the stop that trails is reckoned from them.
TEST_P(TriggerTest, ComesWithThePriceItWaitsFor) {
    const Case& each = GetParam();
    const bool touch = each.touch != 0;
    const std::int32_t field = touch ? each.touchField : each.trailingField;
    const Wish wish = WishFor(each);
    const Order& order = Enter(wish);
    const bool upward =
        touch ? (each.touchCondition != 0 ? each.touchCondition == kAtOrAbove : each.side == kSell)
              : each.side == kBuy;
    std::int64_t wanted = touch ? wish.touchE10 : wish.stopE10;
    for (int ticks = 0; ticks < 200'000; ++ticks) {
        // The order's own trade may have moved the last price.
        const std::int64_t price = order.waiting ? FieldOf(book_, field) : order.state.triggeredE10;
        if (each.trail != 0) {
            const std::int64_t stop = price + (upward ? each.trail : -each.trail) * kE10;
            if (wanted == kNoInt64 || (upward ? stop < wanted : stop > wanted)) wanted = stop;
        }
        const bool reached = upward ? price >= wanted : price <= wanted;
        ASSERT_EQ(!order.waiting, reached) << each.name << " after " << ticks << " ticks";
        if (reached) return;
        exchange_.Step();
    }
    FAIL() << "never reached: " << each.name;
}

INSTANTIATE_TEST_SUITE_P(All, TriggerTest, ::testing::ValuesIn(kCases));

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

} // namespace
} // namespace halvane::paper
