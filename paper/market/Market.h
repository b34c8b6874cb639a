#pragma once

#include "paper/market/Instrument.h"

#include <cstdint>
#include <vector>

namespace halvane::paper {

// What a paper market consists of when a day begins.

// A value that walks at random.
struct Driver {
    std::int64_t startE10;
    std::int64_t volatilityPpb; // standard deviation of one step, in 1e-9 of the value
    std::int64_t reachPpm;      // how far it goes in a day: within the price limits
};

struct Market {
    MarketPlan plan;
    std::vector<Instrument> instruments;
    std::vector<Driver> drivers;
};

// The market of a plan on the day on which it starts.
Market BuildMarket(MarketPlan plan, Day today);

} // namespace halvane::paper
