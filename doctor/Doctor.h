#pragma once

#include <string>
#include <vector>

namespace halvane::doctor {

// Looks at everything and prints a line for each thing, in UTF-8. The exit code: 0 all is well, 1
// something is to be minded, 2 something is wrong, or the words are.
int RunDoctor(const std::vector<std::string>& words);

} // namespace halvane::doctor
