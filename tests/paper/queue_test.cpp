#include "tests/paper/PaperTests.h"

#include <list>

namespace halvane::paper {
namespace {

// A book alone, with the background's quotes and trades as the test wants them. Prices are whole.
class QueueTest : public ::testing::Test {
  protected:
    Order& Rest(std::int32_t side, std::int64_t price, std::int32_t quantity) {
        Ticket ticket;
        ticket.side = side;
        Order& order = orders_.emplace_back(Order{.identities = identities_,
                                                  .number = 0,
                                                  .ticket = KeptTicket(ticket),
                                                  .tradeDate = 0,
                                                  .account = account_,
                                                  .book = book_,
                                                  .second = {},
                                                  .terms = {},
                                                  .state = {.quantity = quantity,
                                                            .leaves = quantity,
                                                            .priceE10 = price * kE10,
                                                            .stopE10 = kNoInt64},
                                                  .fills = {},
                                                  .frozen = {},
                                                  .trigger = {},
                                                  .place = orders_.size()});
        book_.Rest(order);
        return order;
    }

    // A quote of `size` on both sides, and what the background has traded, sold below 0. What of
    // that the orders get, as "<quantity>@<price>" in the order in which they get it.
    std::string Step(std::int64_t bid, std::int64_t ask, std::int32_t size, std::int32_t traded) {
        const bool sale = traded < 0;
        const PriceStep step{.quote = {bid * kE10, ask * kE10, size, size},
                             .lastE10 = (sale ? bid : ask) * kE10,
                             .lastSide = sale ? kSell : kBuy,
                             .lastSize = std::abs(traded)};
        book_.Follow(step);
        std::string fills;
        for (const auto& [order, match] : book_.Serve(step)) {
            order->state.leaves -= match.quantity;
            if (order->state.leaves == 0) book_.Remove(*order);
            fills += (fills.empty() ? "" : " ") + std::to_string(match.quantity) + "@" +
                     std::to_string(match.priceE10 / kE10);
        }
        return fills;
    }

    JumpingClock jumping_;
    ScopedClock scoped_{jumping_};
    const Market market_ = StillMarket();
    const MarketClock clock_{std::nullopt};
    Account account_{AccountSetup{}};
    Book book_{market_.instruments.front(), clock_};
    Identities identities_{L""};
    std::list<Order> orders_;
};

TEST_F(QueueTest, TwoOrdersStandBehindTheSameBackground) {
    Step(100, 101, 4, 0);
    Rest(kSell, 101, 2);
    Rest(kSell, 101, 5);
    EXPECT_EQ(Step(100, 101, 9, +3), "");
    EXPECT_EQ(Step(100, 101, 9, +4), "2@101 1@101");
    EXPECT_EQ(Step(100, 101, 9, +9), "4@101");
}

TEST_F(QueueTest, ThePriceComesToTheOrder) {
    Step(100, 101, 10, 0);
    Rest(kBuy, 98, 2);
    EXPECT_EQ(Step(99, 100, 10, -10), "");
    EXPECT_EQ(Step(98, 99, 6, -5), ""); // behind the 6 that were quoted when the price came
    EXPECT_EQ(Step(99, 100, 10, -10), "");
    EXPECT_EQ(Step(98, 99, 30, -2), "1@98"); // its place is not lost while the price is away
    EXPECT_EQ(Step(97, 99, 30, -2), "1@98"); // the background has left it alone in front
}

// The background that stands before a resting order is taken before it, no more and no less.
TEST_F(QueueTest, AnIncomingOrderMeetsThemInTheSameOrder) {
    Step(100, 101, 10, 0);
    Order& resting = Rest(kBuy, 100, 5);
    Step(100, 101, 8, -7);
    const Order& taker = Rest(kSell, 110, 9); // its price does not matter here
    Order selling = taker;
    selling.state.priceE10 = 100 * kE10;
    const auto first = book_.BestFor(selling);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->order, nullptr);
    EXPECT_EQ(first->quantity, 3);
    book_.TakeFromQuote(kSell, 3);
    const auto second = book_.BestFor(selling);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->order, &resting);
    EXPECT_EQ(second->quantity, 5);
    book_.Remove(resting);
    EXPECT_EQ(book_.BestFor(selling)->quantity, 5); // what joined behind
}

} // namespace
} // namespace halvane::paper
