#include "request/PlatformObjects.h"

#include "foundation/logger/Log.h"
#include "request/RepWorker.h"
#include "tradeapi/TradeApi.h"

namespace halvane {
namespace {

template <class Object>
Object Created(Object object, ItemClass itemClass, RepWorker& worker, const Request& request) {
    if (object == nullptr) {
        Log().Fatal(L"[RepWorker]create %s failed", ProgIdOf(itemClass));
        worker.Refuse(request, kInitialFailed);
    }
    return object;
}

} // namespace

std::unique_ptr<Item> CreateItem(RepWorker& worker, const Request& request, ItemClass itemClass) {
    return Created(worker.Platform().CreateItem(itemClass), itemClass, worker, request);
}

std::unique_ptr<OrderParameters> CreateParameters(RepWorker& worker, const Request& request,
                                                  ItemClass itemClass) {
    return Created(worker.Platform().CreateParameters(itemClass), itemClass, worker, request);
}

std::unique_ptr<PositionTracker> CreatePositionTracker(RepWorker& worker, const Request& request) {
    return Created(worker.Platform().CreatePositionTracker(), ItemClass::PositionTracker, worker,
                   request);
}

} // namespace halvane
