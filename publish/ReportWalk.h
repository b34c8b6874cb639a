#pragma once

#include "foundation/support/Text.h"

#include <functional>
#include <stop_token>

namespace halvane {

class TradeApi;

// Tells all that the platform restores, each order with its latest report and then each fill, as
// the documents that are published when such a thing happens. Asks the platform row by row, so it
// takes its time. False when a row was refused or a stop was requested: the others were told.
[[nodiscard]] bool WalkReports(TradeApi& tradeApi,
                               const std::function<void(std::string json)>& take,
                               const std::stop_token& stop);

} // namespace halvane
