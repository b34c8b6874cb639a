#include "request/PlatformObjects.h"
#include "request/RepWorker.h"
#include "request/orders/OrderFields.h"
#include "request/orders/Orders.h"
#include "tradeapi/TradeApi.h"

namespace halvane {
namespace {

// clang-format off
constexpr OrderField kReplaceOrder[] = {
    {L"ReportID",          Put::Str,         1},
    {L"ReplaceExecType",   Put::Int,         2},
    {L"OrderQty",          Put::Int,         3},
    {L"Price",             Put::ScaledPrice, 4}, // a number here, where new orders send a text
    {L"StopPrice",         Put::ScaledPrice, 5},
};
// clang-format on

} // namespace

void ReplaceOrder(RepWorker& worker, const Request& request) {
    const auto parameters = CreateParameters(worker, request, ItemClass::ReplaceOrder);
    if (parameters == nullptr) return;
    PutOrderFields(request.name, *parameters, kReplaceOrder, request.param);
    const std::int32_t result = worker.Platform().ReplaceOrder(*parameters);
    worker.SendOrderReply(OrderReply(request.name, request.Param(L"ReportID"), result), result);
}

void CancelOrder(RepWorker& worker, const Request& request) {
    const TextView reportId = request.Param(L"ReportID");
    const std::int32_t result = worker.Platform().CancelOrder(reportId, request.Param(L"Key"));
    worker.SendOrderReply(OrderReply(request.name, reportId, result), result);
}

} // namespace halvane
