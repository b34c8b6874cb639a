#pragma once

#include "tradeapi/TradeApi.h"

#include <memory>

namespace halvane {

// The platform in its automation component. Null when the component's main object can be created
// neither from its file nor through the registry.
std::unique_ptr<TradeApi> MakeComTradeApi();

// Lets go of the component's file. Neither the platform nor its objects may be used afterwards, so
// this is for the end of the process.
void UnloadComponentModules();

} // namespace halvane
