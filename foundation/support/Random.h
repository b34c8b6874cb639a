#pragma once

#include <cstddef>
#include <string>

namespace halvane {

// Bytes that nobody can guess, from the system's own source; throws std::runtime_error when that
// gives none. At most 256. Safe from any thread.
std::string RandomBytes(std::size_t count);

} // namespace halvane
