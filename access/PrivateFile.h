#pragma once

#include "foundation/support/Text.h"

#include <string_view>

namespace halvane {

// Writes a new file that only this user (on Windows also the system and its administrators) can
// read. False when it is there already or cannot be written.
[[nodiscard]] bool WritePrivateFile(const Text& path, std::string_view bytes);

} // namespace halvane
