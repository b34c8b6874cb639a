#include "request/queries/ReportList.h"

#include "request/RepWorker.h"
#include "tradeapi/TradeApi.h"

namespace halvane {

bool OpenReportList(RepWorker& worker, const Request& request, std::int32_t kind,
                    ReportItems& items) {
    TradeApi& tradeApi = worker.Platform();
    items.list = tradeApi.CreateItem(ItemClass::ReportList);
    items.report = tradeApi.CreateItem(ItemClass::ExecutionReport);
    if (items.list == nullptr || items.report == nullptr) {
        worker.ReplyFail(request.name, kInitialFailed, request.sessionKey);
        return false;
    }
    tradeApi.QueryReport(kind, L"", *items.list);
    return true;
}

} // namespace halvane
