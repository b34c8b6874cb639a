#pragma once

#include "tradeapi/TradeApi.h"

namespace halvane {

// The embedded platform, for addresses that begin with "paper:". What follows the colon names the
// market; nothing names the built-in one, the only one so far, and Connect refuses every other. Its
// events come on one thread of its own, in order and never from inside a call. It stops its threads
// when it is destroyed, which may not happen on its own event thread.
std::unique_ptr<TradeApi> MakePaperTradeApi(TextView hostAddress);

} // namespace halvane
