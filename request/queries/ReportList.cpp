#include "request/queries/ReportList.h"

#include "request/PlatformObjects.h"
#include "request/RepWorker.h"
#include "tradeapi/TradeApi.h"

namespace halvane {

bool OpenReportList(RepWorker& worker, const Request& request, std::int32_t kind,
                    ReportItems& items) {
    items.list = CreateItem(worker, request, ItemClass::ReportList);
    if (items.list == nullptr) return false;
    items.report = CreateItem(worker, request, ItemClass::ExecutionReport);
    if (items.report == nullptr) return false;
    worker.Platform().QueryReport(kind, L"", *items.list);
    return true;
}

} // namespace halvane
