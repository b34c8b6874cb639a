#pragma once

#include "foundation/support/Text.h"

#include <cstdint>

namespace halvane::paper {

// Prices are in units of 1e-10 and lie on a tick grid that is a multiple of 1e-6; amounts of money
// are in millionths. So an amount is exact, and everything is integer arithmetic.

inline constexpr std::int64_t kE4 = 10'000;
inline constexpr std::int64_t kE6 = 1'000'000;
inline constexpr std::int64_t kE10 = 10'000'000'000;

// What `units` (quantity times multiplier, with the sign that the caller wants) cost at a price.
constexpr std::int64_t AmountE6(std::int64_t priceE10, std::int64_t units) {
    return priceE10 / kE4 * units;
}

// value * factor / divisor, towards zero, without a product that is wider than the result: it holds
// as long as divisor * factor and the result fit.
constexpr std::int64_t Share(std::int64_t value, std::int64_t factor, std::int64_t divisor) {
    return value / divisor * factor + value % divisor * factor / divisor;
}

// An amount in the units of a price, as position rows carry it; the nearest limit when too large.
std::int64_t AmountE10(std::int64_t amountE6);

// The price per unit, in units of 1e-10, that `units` had for an amount; kNoInt64 without any.
std::int64_t PriceOfE10(std::int64_t amountE6, std::int64_t units);

// The nearest 32-bit value that does not mean "missing".
std::int32_t Narrow(std::int64_t value);

// A number that counts in units of 1/unit (a power of ten) as a decimal text without needless
// zeros.
Text ScaledText(std::int64_t value, std::int64_t unit);
inline Text PriceText(std::int64_t priceE10) { return ScaledText(priceE10, kE10); }

// A decimal text in units of 1e-`places`: its digits with the point gone so far to the right. It
// may not have more decimals than that.
Text WithoutPoint(TextView decimal, std::size_t places);

} // namespace halvane::paper
