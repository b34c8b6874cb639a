#pragma once

#include "tradeapi/Items.h"

#include <functional>

namespace halvane {

class TradeApi;

// Asks the platform for the report or fill of that identifier and gives `take` the document that is
// published of it; `itemClass` is ExecutionReport or Fill. False when the platform knows none: the
// document then has no values. Nothing is taken when no item can be created, which is logged.
bool DescribeReport(TradeApi& tradeApi, ItemClass itemClass, TextView identifier,
                    const std::function<void(std::string json)>& take);

} // namespace halvane
