#pragma once

#include "foundation/support/Text.h"

#include <cstdint>
#include <optional>

namespace halvane {

// Clients write prices as decimals; the platform takes whole numbers of 1e-10.

// The price of a new order. "12.5" becomes "125000000000". A reference price with an offset behind
// "+" or "-", such as "B+5", has its offset scaled and keeps the rest. Any other text stays.
Text RewritePrice(TextView price);

// "<price>|<field>|<offset>...": the price is rewritten when it is a plain number and the offset
// holds no "-"; everything else stays.
Text RewriteChasePrice(TextView chasePrice);

// The price of a replacement, truncated toward zero; nothing when the text is no plain number.
// Beyond 64 bits it is the largest value.
std::optional<std::int64_t> ScalePrice(TextView price);

} // namespace halvane
