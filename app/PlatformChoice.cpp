#include "app/PlatformChoice.h"

#include "paper/Paper.h"
#include "tradeapi/TradeApi.h"

namespace halvane {

bool IsPaper(TextView hostAddress) { return hostAddress.starts_with(L"paper:"); }

std::unique_ptr<TradeApi> MakeTradeApi(TextView hostAddress) {
    return IsPaper(hostAddress) ? MakePaperTradeApi() : MakeComponentTradeApi();
}

} // namespace halvane
