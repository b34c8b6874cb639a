#pragma once

#include "foundation/support/Text.h"

#include <memory>

namespace halvane {

class TradeApi;

// "paper:" and what follows.
bool IsPaper(TextView hostAddress);

// The platform that the host address asks for: the embedded paper platform or the platform's
// automation component. Null when it cannot be created.
std::unique_ptr<TradeApi> MakeTradeApi(TextView hostAddress);

// The component; there is one on Windows only.
std::unique_ptr<TradeApi> MakeComponentTradeApi();

// For the end of the process with exit code 0, once the host's work is done: from here on a fault
// ends the process with that exit code as well. Not in a process that never asked for the
// component: every fault there is our own, and has to be seen.
void ForgiveComponentFaults();

// Lets go of the component's modules, when none of our threads uses them any more.
void UnloadComponents();

} // namespace halvane
