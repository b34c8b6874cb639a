#include "foundation/support/Numbers.h"

#include "foundation/support/Digits.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string>

namespace halvane {
namespace {

constexpr TextView kBlanks = L" \t\n\v\f\r";

Text Widen(const char* begin, const char* end) { return Text(begin, end); }

bool TakeSign(TextView& text) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    const bool negative = text.starts_with(L'-');
    if (negative || text.starts_with(L'+')) text.remove_prefix(1);
    return negative;
}

template <class Integer> Integer ToInteger(TextView text) {
    using Limits = std::numeric_limits<Integer>;
    const bool negative = TakeSign(text);
    Integer value = 0; // kept negative, which has room for every value
    for (const wchar_t c : text) {
        if (!IsDigit(c)) break;
        const Integer digit = static_cast<Integer>(c - L'0');
        if (value < (Limits::min() + digit) / 10) return negative ? Limits::min() : Limits::max();
        value = static_cast<Integer>(value * 10 - digit);
    }
    if (negative) return value;
    return value == Limits::min() ? Limits::max() : static_cast<Integer>(-value);
}

// Whether a decimal that no double holds lies beyond the largest one, not below the smallest: the
// place of its first digit other than 0 tells.
bool IsBeyondRange(std::string_view decimal) {
    const std::size_t e = std::min(decimal.find_first_of("eE"), decimal.size());
    const std::string_view digits = decimal.substr(0, e);
    const auto point = static_cast<std::int64_t>(std::min(digits.find('.'), digits.size()));
    const auto first = static_cast<std::int64_t>(digits.find_first_of("123456789"));
    std::string_view exponent = decimal.substr(std::min(e + 1, decimal.size()));
    if (exponent.starts_with('+')) exponent.remove_prefix(1);
    std::int64_t power = 0;
    if (std::from_chars(exponent.data(), exponent.data() + exponent.size(), power).ec ==
        std::errc::result_out_of_range)
        return !exponent.starts_with('-');
    return power > first - point;
}

} // namespace

std::int32_t ToInt32(TextView text) { return ToInteger<std::int32_t>(text); }
std::int64_t ToInt64(TextView text) { return ToInteger<std::int64_t>(text); }

double ToDouble(TextView text) {
    const bool negative = TakeSign(text);
    std::string digits; // with the first point
    bool point = false;
    for (const wchar_t c : text) {
        if (c == L'.' ? point : !IsDigit(c)) break;
        point = point || c == L'.';
        digits.push_back(static_cast<char>(c));
    }
    if (digits.find_first_not_of('.') == std::string::npos) return 0; // not even a negative zero
    const double value = DecimalValue(digits);
    return negative ? -value : value;
}

double DecimalValue(std::string_view decimal) {
    double value = 0;
    const auto result = std::from_chars(decimal.data(), decimal.data() + decimal.size(), value);
    if (result.ec != std::errc::result_out_of_range) return value;
    value = IsBeyondRange(decimal) ? std::numeric_limits<double>::infinity() : 0;
    return decimal.starts_with('-') ? -value : value;
}

NumberDigits DecimalDigits(std::int64_t value) {
    NumberDigits out;
    char* at = out.text;
    if (value < 0) *at++ = '-';
    const auto magnitude = static_cast<std::uint64_t>(value);
    at = PutDigits(at, value < 0 ? 0 - magnitude : magnitude);
    out.size = static_cast<std::uint8_t>(at - out.text);
    return out;
}

Text DecimalText(std::int64_t value) {
    const NumberDigits digits = DecimalDigits(value);
    return Widen(digits.text, digits.text + digits.size);
}

Text FixedText(double value, int decimals) {
    char digits[400]; // the largest double has 309 digits before the point
    const auto end = std::to_chars(std::begin(digits), std::end(digits), value,
                                   std::chars_format::fixed, decimals);
    return Widen(digits, end.ptr);
}

void TrimTrailingZeros(Text& text) {
    if (text.find(L'.') == Text::npos) return;
    text.erase(text.find_last_not_of(L'0') + 1);
    if (text.back() == L'.') text.pop_back();
}

} // namespace halvane
