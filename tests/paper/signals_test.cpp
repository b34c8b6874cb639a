#include "foundation/support/Strings.h"
#include "paper/exchange/Signals.h"
#include "tests/paper/PaperTests.h"

#include <map>
#include <numeric>

namespace halvane::paper {
namespace {

// Half an hour of ticks against the rule as it is told, reckoned anew for every tick.
TEST(Signals, FollowTheMeans) {
    JumpingClock clock;
    const ScopedClock scoped(clock);
    Exchange exchange(BuiltInMarket(Today()));
    Signals signals;
    std::map<const Book*, std::vector<std::int64_t>> prices;
    std::map<const Book*, std::int32_t> scores;
    std::size_t count = 0;
    for (int tick = 0; tick < 7'200; ++tick) {
        exchange.Step();
        std::map<const Book*, std::int32_t> changes;
        for (const Book& book : exchange.Books()) {
            std::vector<std::int64_t>& past = prices[&book];
            past.push_back(book.LastE10());
            if (past.size() < 240 || book.TheInstrument().kind == InstrumentKind::Option) continue;
            const std::int64_t fast = std::accumulate(past.end() - 40, past.end(), 0LL) / 40;
            const std::int64_t slow = std::accumulate(past.end() - 240, past.end(), 0LL) / 240;
            if (std::abs(fast - slow) < book.TheInstrument().tickE10) continue;
            const std::int32_t score = fast > slow ? 1 : -1;
            if (score != scores[&book]) changes[&book] = score - scores[&book];
            scores[&book] = score;
        }
        for (const Signal& signal : signals.Step(exchange)) {
            ASSERT_EQ(signal.change, changes[signal.book]) << tick;
            ASSERT_EQ(signal.score, scores[signal.book]);
            changes.erase(signal.book);
            ++count;
        }
        ASSERT_TRUE(changes.empty()) << tick;
    }
    EXPECT_GT(count, 10u);
    EXPECT_LT(count, 500u);
}

TEST(Signals, TellTwelveFields) {
    JumpingClock clock;
    const ScopedClock scoped(clock);
    Exchange exchange(StillMarket());
    ASSERT_EQ(Send(exchange, {kFuture, kSell, kMarket, kDay, 1}), kAccepted);
    exchange.Step();
    const Book& book = *exchange.FindBook(kFuture);
    const std::int64_t loss = (book.LastE10() / kE10 - 1000) * 50;
    const Signal signal{&book, 1, 2, 25 * kE10 / 2, 3, -4};
    const Text profit = loss == 0 ? Text(L"0") : DecimalText(-loss);
    EXPECT_EQ(SignalText(signal, *exchange.Accounts()[0]),
              Text(kFuture) + L"|1000001|1|1|2|" + profit + L"|12|625|2|3|-4|0");
    const Text other = SignalText(signal, *exchange.Accounts()[1]);
    EXPECT_EQ(other, Text(kFuture) + L"|1000002|1|1|2|0|12|625|1|3|-4|0");
}

} // namespace
} // namespace halvane::paper
