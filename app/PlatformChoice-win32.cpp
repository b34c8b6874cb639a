#include "app/PlatformChoice.h"

#include "tradeapi/com/Com.h"

namespace halvane {

std::unique_ptr<TradeApi> MakeComponentTradeApi() { return MakeComTradeApi(); }

void UnloadComponents() { UnloadComponentModules(); }

} // namespace halvane
