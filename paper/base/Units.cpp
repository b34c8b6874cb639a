#include "paper/base/Units.h"

#include "foundation/support/Numbers.h"
#include "tradeapi/Items.h"

#include <algorithm>
#include <cstdlib>

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

Text ScaledText(std::int64_t value, std::int64_t unit) {
    Text text = value < 0 ? L"-" : L"";
    text += DecimalText(std::abs(value / unit)) + L".";
    text += DecimalText(unit + std::abs(value % unit)).substr(1); // with its leading zeros
    TrimTrailingZeros(text);
    return text;
}

Text WithoutPoint(TextView decimal, std::size_t places) {
    const std::size_t point = std::min(decimal.find(L'.'), decimal.size());
    const TextView fraction = decimal.substr(std::min(point + 1, decimal.size()));
    Text digits(decimal.substr(0, point));
    digits += fraction;
    digits.append(places - fraction.size(), L'0');
    return digits;
}

} // namespace halvane::paper
