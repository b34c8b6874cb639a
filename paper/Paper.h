#pragma once

#include "tradeapi/TradeApi.h"

namespace halvane {

// The embedded platform. Connect is given the market with the host address: "paper:" and the path
// of a market file, or "paper:" alone for the built-in one; it refuses a file that has mistakes.
// The log says that it is paper, what the market is, and what is wrong with a file. Its events come
// on one thread of its own, in order and never from inside a call. It stops its threads when it is
// destroyed, which may not happen on its own event thread.
std::unique_ptr<TradeApi> MakePaperTradeApi();

} // namespace halvane
