#pragma once

#include <string>

namespace halvane::relay {

// A line to standard output, with the time before it. Safe from any thread.
void Say(const std::string& text);

} // namespace halvane::relay
