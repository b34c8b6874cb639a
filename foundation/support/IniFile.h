#pragma once

#include "foundation/support/Text.h"

namespace halvane {

// The value of a key in a section of an ini file, names taken whatever their case; `fallback` when
// the file, the section or the key is missing. `path` is a full path.
Text ReadIniText(const Text& path, const Text& section, const Text& key, const Text& fallback);

} // namespace halvane
