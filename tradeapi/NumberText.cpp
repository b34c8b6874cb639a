#include "tradeapi/NumberText.h"

#include "foundation/support/Numbers.h"
#include "tradeapi/Items.h"

#include <cmath>

namespace halvane {
namespace {

constexpr double kPriceScale = 1e10;

Text Decimals(std::int64_t value, int mode) {
    const auto number = static_cast<double>(value);
    switch (mode) {
    case kWhole:
    case kCount: return DecimalText(value);
    case kAmount: return FixedText(number / 1e6, 6);
    case kPrice: return FixedText(number / kPriceScale, 7);
    case kCents: return FixedText(std::round(number / 1e8) / 100, 2);
    case kAveragePrice: return FixedText(number / kPriceScale, 8);
    default: return {};
    }
}

} // namespace

Text FormatFixedPoint(std::int64_t value, int mode) {
    // A count of which only the upper half is set is a 32-bit mark that was widened.
    if (mode == kCount && value != 0 && value % (std::int64_t{1} << 31) == 0) return {};
    if (value == kNoInt64) return {};
    Text text = Decimals(value, mode);
    TrimTrailingZeros(text);
    return text;
}

Text FormatLong(std::int32_t value) { return value == kNoInt ? Text() : DecimalText(value); }

Text FormatSixDecimals(std::int64_t value) {
    return FixedText(static_cast<double>(value) / kPriceScale, 6);
}

} // namespace halvane
