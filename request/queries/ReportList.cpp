#include "request/queries/ReportList.h"

#include "request/PlatformObjects.h"
#include "request/RepWorker.h"
#include "request/queries/RowQuery.h"

namespace halvane {

std::int32_t ReportItems::Count() { return page ? page->count : list->GetInt(kListCount); }

TextView ReportItems::Entry(std::int32_t index) {
    if (!page) return list->GetIndexed(kListEntry, index);
    const std::int64_t at = std::int64_t{index} - start;
    const bool within = at >= 0 && at < std::ssize(page->identifiers);
    return within ? TextView(page->identifiers[static_cast<std::size_t>(at)]) : TextView();
}

bool OpenReportList(RepWorker& worker, const Request& request, std::int32_t kind,
                    std::int32_t start, ReportItems& items) {
    items.list = CreateItem(worker, request, ItemClass::ReportList);
    if (items.list == nullptr) return false;
    items.report = CreateItem(worker, request, ItemClass::ExecutionReport);
    if (items.report == nullptr) return false;
    TradeApi& tradeApi = worker.Platform();
    items.start = start;
    items.page = tradeApi.QueryPage(kind, start, kPage);
    if (!items.page) tradeApi.QueryReport(kind, L"", *items.list);
    return true;
}

} // namespace halvane
