#include "paper/base/BlackScholes.h"
#include "paper/base/Calendar.h"
#include "paper/base/Units.h"
#include "paper/market/FairValue.h"
#include "paper/market/Market.h"
#include "paper/market/PriceProcess.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace halvane::paper {
namespace {

const Day kToday = DayOf(20261106);

TEST(Calendar, QuarterExpiryIsTheThirdWednesdayNotPassed) {
    const struct {
        std::int32_t today;
        int skip;
        const wchar_t* expiry;
    } kCases[] = {
        {20261106, 0, L"20261216"}, {20261106, 1, L"20270317"}, {20261216, 0, L"20261216"},
        {20261217, 0, L"20270317"}, {20270101, 0, L"20270317"}, {20270331, 3, L"20280315"},
    };
    for (const auto& each : kCases) {
        EXPECT_EQ(DateText(QuarterExpiry(DayOf(each.today), each.skip)), each.expiry) << each.today;
    }
}

TEST(Calendar, TradingDaysLeaveOutWeekends) {
    const struct {
        std::int32_t from, to, days;
    } kCases[] = {
        {20261106, 20261106, 0}, {20261106, 20261107, 0},  {20261106, 20261109, 1},
        {20261106, 20261113, 5}, {20261106, 20261216, 28}, {20261109, 20261106, 0},
    };
    for (const auto& each : kCases) {
        EXPECT_EQ(TradingDaysBetween(DayOf(each.from), DayOf(each.to)), each.days) << each.to;
    }
    EXPECT_FALSE(DayOf(0).ok());
    EXPECT_FALSE(DayOf(-5).ok());
    EXPECT_FALSE(DayOf(20260230).ok());
}

TEST(Units, PricesAsText) {
    EXPECT_EQ(PriceText(1'250'500'000'000), L"125.05");
    EXPECT_EQ(PriceText(1'000'000'000'000), L"100");
    EXPECT_EQ(PriceText(1), L"0.0000000001");
    EXPECT_EQ(AmountE10(INT64_MAX / 2), INT64_MAX / kE4 * kE4);
}

// A day of ticks: prices stay on the grid and within the limits, options keep the parity of call
// and put, and the numbers are those of every other system.
TEST(PriceProcess, GivesOneSaneDayEverywhere) {
    const Market market = BuildMarket(BuiltInPlan(), kToday);
    PriceProcess prices(market.drivers, market.plan.seed);
    std::uint64_t sum = 0;
    for (int step = 0; step < 72'000; ++step) {
        prices.Advance();
        for (const Instrument& instrument : market.instruments) {
            const PriceStep next = prices.NextStep(instrument, std::chrono::local_days(kToday));
            ASSERT_EQ(next.quote.bidE10 % instrument.tickE10, 0);
            ASSERT_GT(next.quote.askE10, next.quote.bidE10);
            ASSERT_GE(next.lastE10, instrument.lowerE10);
            ASSERT_LE(next.quote.askE10, instrument.upperE10);
            ASSERT_EQ(next.quote.bidE10 == 0, next.quote.bidSize == 0);
            ASSERT_GT(next.quote.askSize, 0);
            ASSERT_LE(next.lastSize, instrument.quoteSize / 4);
            ASSERT_LE(std::max(next.quote.askSize, next.quote.bidSize), instrument.quoteSize);
            sum = sum * 31 + static_cast<std::uint64_t>(next.lastE10 / kE4);
        }
    }
    EXPECT_EQ(sum, 5'124'004'384'462'150'352u);
}

double InPoints(std::int64_t priceE10) {
    return static_cast<double>(priceE10) / static_cast<double>(kE10);
}

// Nobody earns by turning a call, a put and the future round, and an option loses its time value
// as days go by, down to what exercising it brings. The value is near enough to the one by which
// its risk is reckoned: within 20 points of some 20,000, 80 when it has more than a year.
TEST(PriceProcess, OptionsAgreeWithTheFuture) {
    const Market market = BuildMarket(BuiltInPlan(), kToday);
    for (const Instrument& call : market.instruments) {
        if (call.callPut != L"C") continue;
        Instrument put = call;
        put.callPut = L"P";
        for (std::int64_t driver = 17'500; driver < 22'500; driver += 125) {
            const std::int64_t future = WithCarry(market.instruments[5], driver * kE10);
            std::int64_t before = INT64_MAX;
            for (const std::int32_t days : {400, 100, 20, 5, 1, 0}) {
                const std::int64_t leftMs = days * std::int64_t{24 * 3600 * 1000};
                const std::int64_t difference =
                    FairValue(call, driver * kE10, leftMs) - FairValue(put, driver * kE10, leftMs);
                EXPECT_EQ(difference, future - call.strikeE10);
                EXPECT_LE(FairValue(call, driver * kE10, leftMs), before);
                EXPECT_NEAR(InPoints(FairValue(call, driver * kE10, leftMs)),
                            BlackScholes({.call = true,
                                          .spot = InPoints(future),
                                          .strike = InPoints(call.strikeE10),
                                          .rate = 0,
                                          .volatility = 0.15,
                                          .years = days / 365.0})
                                .value,
                            days == 400 ? 80 : 20);
                before = FairValue(call, driver * kE10, leftMs);
            }
            EXPECT_EQ(before, std::max<std::int64_t>(future - call.strikeE10, 0));
        }
    }
}

} // namespace
} // namespace halvane::paper
