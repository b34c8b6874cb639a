#pragma once

#include <functional>

namespace halvane::scarcity {

// What this thread is short of, in a program that is linked with this: blocks of memory, from
// whichever function, or calls that open, read or write a file.
enum Kind { kNothing, kMemory, kFiles };

// From here on the n-th of them (from 0) fails and those that follow it at once, `count` in all,
// and no other.
void FailNth(Kind kind, int n, int count = 1);
// Ends that; whether it came so far.
bool EndFailing();

// Blocks of memory that nobody has given back.
int LiveBlocks();

} // namespace halvane::scarcity
