#pragma once

#include "paper/market/MarketPlan.h"

#include <optional>

namespace halvane::paper {

// The market that a host address names: what follows "paper:" is the path of a market file, and
// nothing means the built-in market. Nothing for a file that has mistakes; the log says which. Logs
// what the market is and that nothing in it is real.
std::optional<MarketPlan> ChooseMarket(TextView hostAddress);

} // namespace halvane::paper
