#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace halvane {

// Bytes as lower-case hexadecimal digits, two for each, and back; nothing for what is no such text.
std::string HexDigits(std::string_view bytes);
std::optional<std::string> BytesOfHex(std::string_view digits);

} // namespace halvane
