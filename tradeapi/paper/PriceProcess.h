#pragma once

#include "tradeapi/paper/Market.h"

#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace halvane::paper {

// What the background offers: the best price of each side and how much of it there is.
struct Quote {
    std::int64_t bidE10, askE10;
    std::int32_t bidSize, askSize;

    std::int64_t PriceFor(std::int32_t takerSide) const;
    std::int32_t& SizeFor(std::int32_t takerSide);
    std::int32_t SizeFor(std::int32_t takerSide) const;
};

struct Tick {
    Quote quote;
    std::int64_t lastE10;
};

// What an instrument is worth when its driver stands at a value, between ticks or not. Options: the
// intrinsic value and a time value that is greatest at the money and alike for call and put.
std::int64_t FairValue(const Instrument& instrument, std::int64_t driverE10);

// The seeded process behind all prices. It draws the same numbers whatever the clients do, from
// integer arithmetic alone, so that a seed gives the same day on every system and compiler.
class PriceProcess {
  public:
    PriceProcess(std::span<const Driver> drivers, std::uint64_t seed);

    void Step();
    Tick NextTick(const Instrument& instrument);

  private:
    struct Walk {
        Driver driver;
        std::int64_t valueE10;
    };

    std::mt19937_64 random_;
    std::vector<Walk> walks_;
};

} // namespace halvane::paper
