#include "request/PlatformObjects.h"
#include "request/RepWorker.h"
#include "request/orders/OrderFields.h"
#include "request/orders/Orders.h"
#include "tradeapi/TradeApi.h"

#include <optional>

namespace halvane {
namespace {

// A symbol with several of the marks counts as what is asked for first.
std::optional<OrderKind> KindOf(TextView symbol) {
    const auto holds = [symbol](TextView mark) { return symbol.find(mark) != TextView::npos; };
    if (holds(L".O.") || holds(L".F.")) return FutOptOrderKind();
    if (holds(L".S.")) return StockOrderKind();
    return std::nullopt;
}

} // namespace

void NewOrder(RepWorker& worker, const Request& request) {
    const std::optional<OrderKind> kind = KindOf(request.Param(L"Symbol"));
    if (!kind) return worker.Refuse(request, L"symbol is error!!");
    const auto parameters = CreateParameters(worker, request, kind->parameters);
    if (parameters == nullptr) return;
    PutOrderFields(kind->name, *parameters, kind->fields, request.param);
    const std::int32_t result = worker.Platform().NewOrder(kind->kind, *parameters);
    worker.SendOrderReply(OrderReply(request.name, result), result);
}

} // namespace halvane
