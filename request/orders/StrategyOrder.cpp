#include "foundation/logger/Log.h"
#include "foundation/support/Numbers.h"
#include "request/RepWorker.h"
#include "request/orders/Orders.h"
#include "tradeapi/TradeApi.h"

namespace halvane {
namespace {

void AddText(JsonDocument& object, const wchar_t* name, const Text& text) {
    JsonValue value(text.data(), static_cast<rapidjson::SizeType>(text.size()),
                    object.GetAllocator());
    object.AddMember(JsonValue::StringRefType(name), value, object.GetAllocator());
}

// The client's object with this service's stamp on it. The third user key is the service's own: the
// platform tells by it who has sent the order, so nothing of the client's may stand there.
Text StampedOrder(const JsonValue& param, const RepWorker& worker) {
    JsonDocument order;
    // CopyFrom would take memory of its own kind, and write to what it lacks.
    const auto copy = [&](JsonDocument& filled) { return param.Accept(filled); };
    order.Populate(copy);
    while (order.RemoveMember(L"UserKey3")) {
    }
    AddText(order, L"UserKey3", worker.ServiceKey() + L"|Halvane");
    AddText(order, L"ProcessID", DecimalText(worker.ProcessId()));
    return WriteJson(order);
}

} // namespace

void NewStrategyOrder(RepWorker& worker, const Request& request) {
    if (request.Param(L"StrategyType").empty())
        return worker.Refuse(request, L"StrategyType is error!!");
    if (!worker.HasPlatform()) return worker.Refuse(request, L"trade api is error!!");
    const Text order = StampedOrder(request.param, worker);
    Log().Info(L"NewStrategyOrder:%s", order);
    worker.Platform().NewStrategyOrder(order);
    worker.SendData(SuccessReply(request.name), true);
}

} // namespace halvane
