#include "foundation/support/Hex.h"

namespace halvane {
namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";

} // namespace

std::string HexDigits(std::string_view bytes) {
    std::string digits;
    for (const char byte : bytes) {
        digits += kHexDigits[static_cast<unsigned char>(byte) >> 4];
        digits += kHexDigits[static_cast<unsigned char>(byte) & 15];
    }
    return digits;
}

std::optional<std::string> BytesOfHex(std::string_view digits) {
    if (digits.size() % 2 != 0 || digits.find_first_not_of(kHexDigits) != std::string_view::npos)
        return std::nullopt;
    std::string bytes;
    for (std::size_t at = 0; at < digits.size(); at += 2)
        bytes +=
            static_cast<char>(kHexDigits.find(digits[at]) * 16 + kHexDigits.find(digits[at + 1]));
    return bytes;
}

} // namespace halvane
