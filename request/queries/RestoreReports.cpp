#include "foundation/support/Numbers.h"
#include "publish/ExecutionReportRecord.h"
#include "request/RepWorker.h"
#include "request/queries/Queries.h"
#include "request/queries/ReportList.h"
#include "request/queries/RowQuery.h"
#include "tradeapi/TradeApi.h"

namespace halvane {

void RestoreReports(RepWorker& worker, const Request& request) {
    ReportItems items;
    std::int32_t index = ToInt32(request.Member(L"QryIndex"));
    if (!OpenReportList(worker, request, kReports, index, items)) return;
    JsonWriter reply;
    BeginReply(reply, request.name);
    reply.BeginArray(L"Orders");
    // The count is read again for every record: reports keep coming.
    for (int rows = 0; rows < kPage && index < items.Count(); ++rows) {
        const TextView reportId = items.Entry(index);
        if (worker.Platform().QueryReport(kOneReport, reportId, *items.report) == 0 && index < 0)
            break;
        ++index;
        reply.BeginObject();
        WriteRecord(reply, ExecutionReportFields(), Form::Restored, *items.report,
                    {.qryIndex = DecimalText(index)});
        reply.EndObject();
    }
    reply.EndArray();
    worker.SendData(reply.Finish(), true);
}

} // namespace halvane
