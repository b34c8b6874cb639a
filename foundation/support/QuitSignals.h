#pragma once

#include <functional>

namespace halvane {

// The first SIGINT or SIGTERM calls `quit`, on a thread of its own. They interrupt no other thread
// of a program that calls this, and one that comes before the call waits for it.
void OnQuitSignals(std::function<void()> quit);

} // namespace halvane
