#include "foundation/support/Md5.h"

#include <md5.h>

namespace halvane {

std::string Md5Hex(std::string_view bytes) {
    char digits[MD5_DIGEST_STRING_LENGTH];
    MD5Data(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), digits);
    return digits;
}

} // namespace halvane
