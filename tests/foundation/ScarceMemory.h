#pragma once

namespace halvane {

inline constexpr int kUnlimited = -1;

// How many more allocations of this thread succeed before memory has run out.
extern thread_local int allocationsLeft;

} // namespace halvane
