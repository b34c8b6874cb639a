#pragma once

#include "foundation/support/Text.h"

#include <cstdint>
#include <string_view>

namespace halvane {

// Text to number and number to text, all in one place: no locale, no fixed buffers, defined for
// every input, and what the Windows C library gives for the functions that are named.

constexpr bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

// "_wtoi" and "_wtoi64": leading blanks and one sign, digits up to the first other character, 0
// without digits; a number that does not fit becomes the nearest limit.
std::int32_t ToInt32(TextView text);
std::int64_t ToInt64(TextView text);

// "_wtof" for plain decimal notation: blanks, sign, digits and one point, up to the first other
// character; 0 without digits, infinity beyond the range. No exponents.
double ToDouble(TextView text);

// The value of a decimal that is written without fault, with or without point and exponent: the
// nearest double, infinity beyond the range.
double DecimalValue(std::string_view decimal);

// "%lld".
Text DecimalText(std::int64_t value);

// The text of a number in ASCII. It lies in the object itself: records have a lot of them, and none
// needs a block of its own.
struct NumberDigits {
    static constexpr std::size_t kMost = 30; // more than a number has: see Digits.h

    char text[kMost];
    std::uint8_t size = 0;

    std::string_view View() const { return {text, size}; }
};

NumberDigits DecimalDigits(std::int64_t value);

// "%.<decimals>lf", exact for every double.
Text FixedText(double value, int decimals);

// Takes the zeros off the end of a text that holds a point, and then the point if it is last.
void TrimTrailingZeros(Text& text);

} // namespace halvane
