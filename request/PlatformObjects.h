#pragma once

#include "tradeapi/Items.h"

namespace halvane {

class RepWorker;
struct Request;

// The platform's objects for a request. Null when one cannot be created: the log says so and the
// request has been answered.
std::unique_ptr<Item> CreateItem(RepWorker& worker, const Request& request, ItemClass itemClass);
std::unique_ptr<OrderParameters> CreateParameters(RepWorker& worker, const Request& request,
                                                  ItemClass itemClass);
std::unique_ptr<PositionTracker> CreatePositionTracker(RepWorker& worker, const Request& request);

} // namespace halvane
