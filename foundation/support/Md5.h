#pragma once

#include <string>
#include <string_view>

namespace halvane {

// The MD5 digest (RFC 1321) of the bytes as 32 lower-case hexadecimal digits. Throws
// std::runtime_error when the system refuses to compute it.
std::string Md5Hex(std::string_view bytes);

} // namespace halvane
