#include "foundation/support/Random.h"

namespace halvane {

std::string HexDigits(std::string_view bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string digits;
    for (const char byte : bytes) {
        digits += kDigits[static_cast<unsigned char>(byte) >> 4];
        digits += kDigits[static_cast<unsigned char>(byte) & 15];
    }
    return digits;
}

} // namespace halvane
