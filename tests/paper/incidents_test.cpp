#include "tests/paper/PaperTests.h"

namespace halvane::paper {
namespace {

using std::chrono::hours, std::chrono::minutes, std::chrono::seconds;

// A Friday.
LocalMs At(std::chrono::milliseconds time) {
    return std::chrono::local_days(DayOf(20261120)) + time;
}

constexpr std::int32_t kNine = 9 * 3600 * 1000;

// Two accounts, two exchanges with hours of their own, and a clock that moves by the tick.
Market RuledMarket(std::vector<Incident> incidents = {}, LocalMs start = At(hours(8))) {
    Market market = StillMarket();
    MarketPlan& plan = market.plan;
    plan.start = start;
    plan.stepMs = 60'000;
    plan.incidents = std::move(incidents);
    plan.exchanges = {{L"PAPX", {{kNine, kNine + 3'600'000}, {12 * 3'600'000, 24 * 3'600'000}}},
                      {L"PAPF", {}}};
    plan.accounts[1].rates = {.commissionPpm = 2'500'000, .marginPpm = 500'000};
    plan.accounts[1].mayTrade = {true, false, true};
    return market;
}

class RulesTest : public ExchangeTest {
  protected:
    RulesTest() : ExchangeTest(RuledMarket()) {}

    void GoTo(LocalMs moment) {
        while (exchange_.Clock().LocalNow() < moment)
            exchange_.Step();
    }
};

TEST_F(RulesTest, AnExchangeKeepsItsHours) {
    const struct {
        LocalMs moment;
        bool open;
    } kCases[] = {
        {At(hours(8) + minutes(59)), false},
        {At(hours(9)), true},
        {At(hours(9) + minutes(59)), true},
        {At(hours(10)), false},
        {At(hours(12)), true},
        {At(hours(23) + minutes(59)), true},
        {At(hours(24)), false},
        {At(hours(24 + 9)), false}, // a Saturday
        {At(hours(3 * 24 + 9)), true},
        {At(hours(3 * 24 + 10)), false},
    };
    for (const auto& each : kCases) {
        GoTo(each.moment);
        EXPECT_EQ(ErrorOf({kStock, kBuy, kLimit, kDay, 1, 95 * kE10}),
                  each.open ? 0 : kMarketClosed);
        EXPECT_EQ(ErrorOf({kFuture, kBuy, kLimit, kDay, 1, 995 * kE10}), 0); // never closed
    }
}

TEST_F(RulesTest, AnAccountPaysItsOwnRates) {
    GoTo(At(hours(12)));
    Send(exchange_, {kStock});
    Wish other{kStock};
    other.account = L"1000002";
    exchange_.Step();
    Send(exchange_, other);
    const Account& first = *exchange_.Accounts()[0];
    const Account& second = *exchange_.Accounts()[1];
    ASSERT_EQ(first.RealisedE6(), 0);
    EXPECT_EQ(second.CommissionE6() * 2,
              first.CommissionE6() * 5 * second.Held()[0]->boughtE6 / first.Held()[0]->boughtE6);
    Position shortStock{.book = first.Held()[0]->book, .rates = second.Setup().rates, .net = -10};
    Position usual = shortStock;
    usual.rates = {};
    const std::int64_t value = -shortStock.ValueE6();
    EXPECT_EQ((shortStock.MarginE6() - value) * 2, usual.MarginE6() - value);
}

TEST(Limits, LieAroundTheCloseOfTheDayBefore) {
    JumpingClock jumping;
    const ScopedClock scoped(jumping);
    Market market = BuiltInMarket(DayOf(20261120));
    market.plan.start = At(hours(23));
    market.plan.stepMs = 10'000;
    for (Driver& driver : market.drivers)
        driver.volatilityPpb *= 20;
    Exchange exchange(std::move(market));
    for (int tick = 0; tick < 360; ++tick)
        exchange.Step();
    ASSERT_EQ(exchange.Clock().Today(), DayOf(20261121));
    const auto notices = exchange.TakeNotices();
    EXPECT_TRUE(std::holds_alternative<ResetNotice>(notices.at(0)));
    for (const Book& book : exchange.Books()) {
        const Instrument& instrument = book.TheInstrument();
        EXPECT_EQ(instrument.referenceE10, book.PreviousCloseE10());
        EXPECT_GT(instrument.upperE10, book.PreviousCloseE10());
        EXPECT_LT(instrument.lowerE10, instrument.upperE10);
    }
    for (int tick = 0; tick < 20'000; ++tick) { // two days and more
        exchange.Step();
        for (const Book& book : exchange.Books()) {
            ASSERT_GE(book.LastE10(), book.TheInstrument().lowerE10);
            ASSERT_LE(book.LastE10(), book.TheInstrument().upperE10);
        }
    }
}

// --- incidents ----------------------------------------------------------------------------------

Incident After(IncidentKind kind, std::int64_t afterMs, std::int64_t forMs = 0) {
    Incident incident;
    incident.kind = kind;
    incident.afterMs = afterMs;
    incident.forMs = forMs;
    return incident;
}

Incident Daily(IncidentKind kind, std::int32_t atMs, std::int64_t forMs = 0) {
    Incident incident = After(kind, 0, forMs);
    incident.afterMs.reset();
    incident.atMs = atMs;
    return incident;
}

TEST(Incidents, ComeAtTheirTime) {
    const auto kReset = IncidentKind::ResetReports;
    const auto kClose = IncidentKind::CloseMarket;
    Incidents incidents({After(kReset, 5'000), Daily(kReset, kNine), Daily(kReset, kNine - 60'000),
                         Daily(kClose, kNine, 2'000)},
                        At(hours(9) - seconds(2)));
    const struct {
        int second; // from 9 o'clock
        std::size_t resets;
        bool closed;
    } kCases[] = {
        {-2, 0, false},    {-1, 0, false},    {0, 1, true},       {1, 0, true},
        {2, 0, false},     {3, 1, false},     {4, 0, false},      {86'340, 1, false},
        {86'400, 1, true}, {86'401, 0, true}, {86'402, 0, false},
    };
    for (const auto& each : kCases) {
        const auto now = At(hours(9) + seconds(each.second));
        EXPECT_EQ(incidents.Step(now, (each.second + 2) * 1000).size(), each.resets) << each.second;
        EXPECT_EQ(incidents.Closes(L"PAPX"), each.closed) << each.second;
    }
}

std::vector<Incident> AllKinds() {
    Incident rejects = After(IncidentKind::RejectOrders, 60'000, 60'000);
    rejects.every = 2;
    Incident closes = After(IncidentKind::CloseMarket, 180'000, 60'000);
    closes.exchange = L"PAPF";
    return {rejects, closes, After(IncidentKind::Disconnect, 300'000, 120'000),
            After(IncidentKind::ResetReports, 480'000), After(IncidentKind::RollDay, 540'000)};
}

class IncidentsTest : public ExchangeTest {
  protected:
    IncidentsTest() : ExchangeTest(RuledMarket(AllKinds(), At(hours(20)))) {}

    // What a step tells of the day and the connection.
    std::string Step() {
        exchange_.Step();
        std::string told;
        for (const Notice& notice : exchange_.TakeNotices()) {
            if (const auto* reset = std::get_if<ResetNotice>(&notice))
                told += reset->newDay ? "day " : "reset ";
            if (const auto* connection = std::get_if<ConnectionNotice>(&notice))
                told += connection->isUp ? "up " : "down ";
        }
        return told;
    }
};

TEST_F(IncidentsTest, HitTheExchange) {
    const struct { // of each minute: what it tells, and how an order for each and another one end
        const char* told;
        std::int32_t stock, future, again;
    } kCases[] = {
        {"", 0, kRejectedOnDemand, 0},
        {"", 0, 0, 0},
        {"", 0, kMarketClosed, 0},
        {"", 0, 0, 0},
        {"down ", 0, 0, 0},
        {"", 0, 0, 0},
        {"up ", 0, 0, 0},
        {"reset ", 0, 0, 0},
        {"day ", kMarketClosed, 0, kMarketClosed}, // at midnight
        {"", kMarketClosed, 0, kMarketClosed},
    };
    for (const auto& each : kCases) {
        EXPECT_EQ(Step(), each.told) << &each - kCases;
        EXPECT_EQ(ErrorOf({kStock}), each.stock) << &each - kCases;
        EXPECT_EQ(ErrorOf({kFuture}), each.future) << &each - kCases;
        EXPECT_EQ(ErrorOf({kStock}), each.again) << &each - kCases;
    }
    EXPECT_EQ(exchange_.Clock().LocalNow(), At(hours(24) + minutes(1)));
}

} // namespace
} // namespace halvane::paper
