#pragma once

#include "paper/market/MarketPlan.h"

#include <cstdint>
#include <vector>

namespace halvane::paper {

// What a paper market consists of when a day begins.

struct Instrument {
    Text symbol;  // "OV.F.PAPF.IDX.202612"
    Text shortId; // "IDX202612"
    Text name;    // for people
    InstrumentKind kind;
    Text exchange;
    Text security;
    Text month;   // "yyyymm", "" for a stock
    Text callPut; // "C", "P", "" for all but options
    Day expiry;   // not ok() for a stock
    std::int64_t strikeE10;
    std::int64_t tickE10;
    std::int64_t multiplier;
    std::int32_t maxQuantity; // of one order

    std::size_t driver;              // the walk in PriceProcess that moves it
    std::int64_t carryPpm;           // what a contract stands above its driver; an option's: what
                                     // its future does
    std::int64_t volatilityPpm;      // of a year, of the driver
    std::int32_t quoteSize;          // the most that the background quotes on one side
    std::int64_t limitPpm;           // an option may move by that share of what lies beneath it
    std::int64_t referenceE10;       // the previous day's close
    std::int64_t lowerE10, upperE10; // price limits of the day

    std::int64_t marginPpm;       // see Position.h
    std::int64_t commissionPpm;   // of the amount of a fill
    std::int64_t commissionLotE6; // and per lot
};

// A value that walks at random.
struct Driver {
    std::int64_t startE10;
    std::int64_t volatilityPpb; // standard deviation of one step, in 1e-9 of the value
    std::int64_t reachPpm;      // how far it goes in a day: within the price limits
};

inline constexpr double kMsPerYear = 365.0 * 24 * 3600 * 1000;

struct Market {
    MarketPlan plan;
    std::vector<Instrument> instruments;
    std::vector<Driver> drivers;
};

// The market of a plan on the day on which it starts.
Market BuildMarket(MarketPlan plan, Day today);

// That of BuiltInPlan.
Market BuiltInMarket(Day today);

// The days until it expires, that day itself counted in full; 0 for what is gone or never expires.
std::int32_t DaysLeft(const Instrument& instrument, Day today);

// The same by the millisecond, until the end of that day.
std::int64_t TimeLeftMs(const Instrument& instrument, LocalMs now);

// Sets the reference price and, from it, the limits of a day. `beneathE10` is the price of what an
// option stands on, and the reference itself for all else.
void SetReference(Instrument& instrument, std::int64_t priceE10, std::int64_t beneathE10);

} // namespace halvane::paper
