#include "app/PlatformChoice.h"

#include "tradeapi/TradeApi.h"

namespace halvane {

std::unique_ptr<TradeApi> MakeComponentTradeApi() { return nullptr; }

void ForgiveComponentFaults() {}

void UnloadComponents() {}

} // namespace halvane
