#include "app/PlatformChoice.h"

#include "tradeapi/TradeApi.h"
#include "tradeapi/paper/Paper.h"

namespace halvane {

std::unique_ptr<TradeApi> MakeTradeApi(TextView hostAddress) {
    return hostAddress.starts_with(L"paper:") ? MakePaperTradeApi() : MakeComponentTradeApi();
}

} // namespace halvane
