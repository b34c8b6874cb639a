#pragma once

#include "foundation/support/Text.h"

#include <vector>

namespace halvane::desk {

// The program, from its arguments to its exit code: 0 after Ctrl-C or SIGTERM, 1 when it could not
// serve, 2 when it was called wrongly.
int Run(const std::vector<Text>& arguments);

} // namespace halvane::desk
