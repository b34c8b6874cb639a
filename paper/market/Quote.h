#pragma once

#include <cstdint>

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
struct PriceStep {
    Quote quote;
    std::int64_t lastE10;
    std::int32_t lastSide; // of who took it: a sale trades at the bid
    std::int32_t lastSize; // 0: nothing traded, and the price is what it would have been
};

} // namespace halvane::paper
