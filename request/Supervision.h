#pragma once

#include <stop_token>

namespace halvane {

// Looks every 10 s for sessions that have been silent for more than 60 s and has them removed, so a
// silent session goes between 60 and about 70 s after its last sign of life. Runs until a stop is
// requested.
void ExecuteCheckPingTime(std::stop_token stop);

} // namespace halvane
