#include "foundation/logger/Log.h"
#include "foundation/support/Numbers.h"
#include "publish/FillReportRecord.h"
#include "request/PlatformObjects.h"
#include "request/RepWorker.h"
#include "request/queries/Queries.h"
#include "request/queries/ReportList.h"
#include "request/queries/RowQuery.h"
#include "tradeapi/TradeApi.h"

#include <algorithm>

namespace halvane {
namespace {

// Walks all fills of all reports and writes those of one page.
class FillWalk {
  public:
    FillWalk(RepWorker& worker, const Request& request)
        : worker_(worker), request_(request),
          start_(std::max(0, ToInt32(request.Member(L"QryIndex")))) {}

    // False when a fill item cannot be created: the request has then been answered.
    bool Over(Item& list, Item& report, JsonWriter& reply) {
        for (std::int32_t k = 0; k < list.GetInt(kListCount); ++k) {
            worker_.Platform().QueryReport(kOneReport, list.GetIndexed(kListEntry, k), report);
            for (std::int32_t j = 0; j < report.GetInt(kFillCount); ++j) {
                if (!Visit(report, j, reply)) return false;
            }
        }
        return true;
    }

    std::int32_t Count() const { return count_; }

  private:
    bool Visit(Item& report, std::int32_t index, JsonWriter& reply) {
        const auto fill = CreateItem(worker_, request_, ItemClass::Fill);
        if (fill == nullptr) return false;
        // A fill that the platform does not know takes its place in the pages, without values.
        worker_.Platform().QueryReport(kOneReport, report.GetIndexed(kFillEntry, index), *fill);
        const std::int32_t position = count_++;
        if (position < start_ || position - start_ >= kPage) return true;
        reply.BeginObject();
        WriteRecord(reply, FillReportFields(), Form::Restored, *fill,
                    {.qryIndex = DecimalText(count_)});
        reply.EndObject();
        return true;
    }

    RepWorker& worker_;
    const Request& request_;
    std::int32_t start_;
    std::int32_t count_ = 0;
};

} // namespace

void RestoreFills(RepWorker& worker, const Request& request) {
    ReportItems items;
    if (!OpenReportList(worker, request, kReportsWithFills, items)) return;
    JsonWriter reply;
    BeginReply(reply, request.name);
    reply.BeginArray(L"Orders");
    FillWalk walk(worker, request);
    if (!walk.Over(*items.list, *items.report, reply)) return;
    Log().Info(L"fill report count:%d", walk.Count());
    reply.EndArray();
    worker.SendData(reply.Finish(), true);
}

} // namespace halvane
