#include "paper/base/Units.h"

#include "foundation/support/Numbers.h"
#include "tradeapi/Items.h"

#include <algorithm>

namespace halvane::paper {

std::int64_t AmountE10(std::int64_t amountE6) {
    constexpr std::int64_t kLargest = INT64_MAX / kE4;
    return std::clamp(amountE6, -kLargest, kLargest) * kE4;
}

std::int64_t PriceOfE10(std::int64_t amountE6, std::int64_t units) {
    return units == 0 ? kNoInt64 : Share(amountE6, kE4, units);
}

std::int32_t Narrow(std::int64_t value) {
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(value, -std::int64_t{INT32_MAX}, INT32_MAX));
}

Text PriceText(std::int64_t priceE10) {
    Text text = DecimalText(priceE10 / kE10);
    const Text fraction = DecimalText(priceE10 % kE10);
    text += L'.';
    text.append(10 - fraction.size(), L'0');
    text += fraction;
    TrimTrailingZeros(text);
    return text;
}

} // namespace halvane::paper
