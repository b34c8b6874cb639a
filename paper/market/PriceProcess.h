#pragma once

#include "paper/market/Market.h"

#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace halvane::paper {

// What the background offers: the best price of each side and how much of it there is; 0 and 0
// where it offers nothing.
struct Quote {
    std::int64_t bidE10, askE10;
    std::int32_t bidSize, askSize;

    std::int64_t PriceFor(std::int32_t takerSide) const;
    std::int32_t& SizeFor(std::int32_t takerSide);
    std::int32_t SizeFor(std::int32_t takerSide) const;
};

// One step of an instrument: the quote after it, and the background's last trade.
struct Tick {
    Quote quote;
    std::int64_t lastE10;
    std::int32_t lastSide; // of who took it: a sale trades at the bid
    std::int32_t
        lastSize; // may be 0: then nothing traded, and the price is what it would have been
};

// The seeded process behind all prices. It draws the same numbers whatever the clients do, from
// arithmetic that is exact everywhere, so that a seed gives the same day on every system and
// compiler.
class PriceProcess {
  public:
    PriceProcess(std::span<const Driver> drivers, std::uint64_t seed);

    void Step();
    // What is reached in a day is counted from here on.
    void StartDay();
    Tick NextTick(const Instrument& instrument, LocalMs now);

  private:
    struct Walk {
        Driver driver;
        std::int64_t valueE10, dayStartE10;
    };

    std::mt19937_64 random_; // gives the same numbers by definition
    std::vector<Walk> walks_;
};

} // namespace halvane::paper
