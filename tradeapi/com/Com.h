#pragma once

#include "tradeapi/TradeApi.h"

#include <memory>

namespace halvane {

// The platform in its automation component. Null when the component's main object can be created
// neither from its file nor through the registry.
std::unique_ptr<TradeApi> MakeComTradeApi();

// Lets go of the component's file, for the end of the process. The file is unloaded when the
// component says that nothing of it is in use; else it stays, with its threads, until the end.
void UnloadComponentModules();

} // namespace halvane
