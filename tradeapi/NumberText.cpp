#include "tradeapi/NumberText.h"

#include "foundation/support/Digits.h"
#include "tradeapi/Items.h"

#include <bit>
#include <cmath>

namespace halvane {
namespace {

__extension__ using Wide = unsigned __int128;

constexpr std::uint64_t PowerOfTen(int exponent) {
    return exponent == 0 ? 1 : 10 * PowerOfTen(exponent - 1);
}

enum class Halfway { ToEven, FromZero };

// The integer next to |value| * power, for values below 2^52 and products below 2^64. A double is
// an integer times a power of two: the product is exact in integers, and what is rounded off is its
// lower bits.
std::uint64_t Scaled(double value, std::uint64_t power, Halfway halfway) {
    constexpr int kMantissaBits = 52, kBias = 1075;
    constexpr std::uint64_t kHidden = std::uint64_t{1} << kMantissaBits;
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const int shift = kBias - static_cast<int>(bits >> kMantissaBits & 0x7FF);
    if (shift >= 120) return 0; // far below half of the last decimal
    const Wide product = Wide{bits % kHidden + kHidden} * power;
    const Wide half = Wide{1} << (shift - 1);
    const auto whole = static_cast<std::uint64_t>(product >> shift);
    const Wide rest = product & (2 * half - 1);
    const bool halfUp = halfway == Halfway::FromZero || whole % 2 == 1;
    return whole + (rest > half || (rest == half && halfUp) ? 1 : 0);
}

// The decimal, all its decimals or those up to the last that is not 0.
template <int kDecimals> NumberDigits Decimal(bool negative, std::uint64_t scaled, bool trimmed) {
    constexpr std::uint64_t kPower = PowerOfTen(kDecimals);
    constexpr int kEight = 8;
    NumberDigits out;
    char* at = out.text;
    if (negative) *at++ = '-';
    at = PutDigits(at, scaled / kPower);
    const std::uint64_t decimals = EightDigits(scaled % kPower * PowerOfTen(kEight - kDecimals));
    const int shown = trimmed ? kEight - std::countl_zero(decimals) / 8 : kDecimals;
    if (shown > 0) {
        *at++ = '.';
        PutEight(at, decimals); // with those that are not shown
        at += shown;
    }
    out.size = static_cast<std::uint8_t>(at - out.text);
    return out;
}

// "%.<kDecimals>lf", for values whose decimal has room in 64 bits.
template <int kDecimals> NumberDigits Fixed(double value, bool trimmed = true) {
    const std::uint64_t scaled = Scaled(value, PowerOfTen(kDecimals), Halfway::ToEven);
    return Decimal<kDecimals>(std::signbit(value), scaled, trimmed);
}

NumberDigits Cents(double cents) {
    return Decimal<2>(std::signbit(cents), Scaled(cents, 1, Halfway::FromZero), true);
}

} // namespace

NumberDigits FormatFixedPoint(std::int64_t value, int mode) {
    constexpr double kPriceScale = 1e10;
    // A count of which only the upper half is set is a 32-bit mark that was widened.
    if (mode == kCount && value != 0 && value % (std::int64_t{1} << 31) == 0) return {};
    if (value == kNoInt64) return {};
    const auto number = static_cast<double>(value);
    switch (mode) {
    case kWhole:
    case kCount: return DecimalDigits(value);
    case kAmount: return Fixed<6>(number / 1e6);
    case kPrice: return Fixed<7>(number / kPriceScale);
    case kCents: return Cents(number / 1e8);
    case kAveragePrice: return Fixed<8>(number / kPriceScale);
    default: return {};
    }
}

NumberDigits FormatLong(std::int32_t value) {
    return value == kNoInt ? NumberDigits() : DecimalDigits(value);
}

NumberDigits FormatSixDecimals(std::int64_t value) {
    constexpr bool kTrimmed = false;
    return Fixed<6>(static_cast<double>(value) / 1e10, kTrimmed);
}

} // namespace halvane
