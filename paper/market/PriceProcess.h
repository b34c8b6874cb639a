#pragma once

#include "paper/market/Market.h"
#include "paper/market/Quote.h"

#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace halvane::paper {

// The seeded process behind all prices. It draws the same numbers whatever the clients do, from
// arithmetic that is exact everywhere, so that a seed gives the same day on every system and
// compiler.
class PriceProcess {
  public:
    PriceProcess(std::span<const Driver> drivers, std::uint64_t seed);

    // All walks go on by one step.
    void Advance();
    // What is reached in a day is counted from here on.
    void StartDay();
    PriceStep NextStep(const Instrument& instrument, LocalMs now);

  private:
    struct Walk {
        Driver driver;
        std::int64_t valueE10, dayStartE10;
    };

    std::mt19937_64 random_; // gives the same numbers by definition
    std::vector<Walk> walks_;
};

} // namespace halvane::paper
