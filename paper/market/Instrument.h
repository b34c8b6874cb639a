#pragma once

#include "paper/market/MarketPlan.h"

#include <cstdint>

namespace halvane::paper {

// What is traded, as it is on one day.
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

inline constexpr double kMsPerYear = 365.0 * 24 * 3600 * 1000;

// The days until it expires, that day itself counted in full; 0 for what is gone or never expires.
std::int32_t DaysLeft(const Instrument& instrument, Day today);

// The same by the millisecond, until the end of that day.
std::int64_t TimeLeftMs(const Instrument& instrument, LocalMs now);

// Sets the reference price and, from it, the limits of a day. `beneathE10` is the price of what an
// option stands on, and the reference itself for all else.
void SetReference(Instrument& instrument, std::int64_t priceE10, std::int64_t beneathE10);

} // namespace halvane::paper
