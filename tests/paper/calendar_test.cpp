#include "tradeapi/paper/Calendar.h"
#include "tradeapi/paper/PriceProcess.h"
#include "tradeapi/paper/Units.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace halvane::paper {
namespace {

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
    const Market market = BuiltInMarket(DayOf(20261106));
    PriceProcess prices(market.drivers, market.seed);
    std::uint64_t sum = 0;
    for (int step = 0; step < 72'000; ++step) {
        prices.Step();
        for (const Instrument& instrument : market.instruments) {
            const Tick tick = prices.NextTick(instrument);
            ASSERT_EQ(tick.quote.bidE10 % instrument.tickE10, 0);
            ASSERT_GT(tick.quote.askE10, tick.quote.bidE10);
            ASSERT_GE(tick.quote.bidE10, instrument.lowerE10 - instrument.tickE10);
            ASSERT_LE(tick.quote.askE10, instrument.upperE10);
            ASSERT_GT(tick.quote.askSize, 0);
            ASSERT_LE(std::max(tick.quote.askSize, tick.quote.bidSize), instrument.quoteSize);
            sum = sum * 31 + static_cast<std::uint64_t>(tick.lastE10 / kE4);
        }
    }
    EXPECT_EQ(sum, 5'009'047'646'776'921'360u);
}

TEST(PriceProcess, CallsAndPutsAgree) {
    const Market market = BuiltInMarket(DayOf(20261106));
    for (const Instrument& call : market.instruments) {
        if (call.callPut != L"C") continue;
        Instrument put = call;
        put.callPut = L"P";
        for (std::int64_t value = 17'500; value < 22'500; value += 250) {
            const std::int64_t difference =
                FairValue(call, value * kE10) - FairValue(put, value * kE10);
            EXPECT_EQ(difference, value * kE10 - call.strikeE10);
            EXPECT_GT(std::min(FairValue(call, value * kE10), FairValue(put, value * kE10)), 0);
        }
    }
}

} // namespace
} // namespace halvane::paper
