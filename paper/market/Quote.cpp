#include "paper/market/Quote.h"

#include "paper/base/Codes.h"

namespace halvane::paper {

std::int64_t Quote::PriceFor(std::int32_t takerSide) const {
    return takerSide == kBuy ? askE10 : bidE10;
}

std::int32_t& Quote::SizeFor(std::int32_t takerSide) {
    return takerSide == kBuy ? askSize : bidSize;
}

std::int32_t Quote::SizeFor(std::int32_t takerSide) const {
    return takerSide == kBuy ? askSize : bidSize;
}

} // namespace halvane::paper
