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

// Writes one page of the fills of all reports: of the identifiers that the platform gives, or those
// that are met there on a walk over all.
class FillWalk {
  public:
    FillWalk(RepWorker& worker, const Request& request, std::int32_t start)
        : worker_(worker), request_(request), start_(start) {}

    // These are false when a fill item cannot be created: the request has then been answered.
    bool Over(const IdentifierPage& page, JsonWriter& reply) {
        count_ = start_;
        for (const TextView fillId : page.identifiers) {
            if (!Visit([&] { return fillId; }, reply)) return false;
        }
        count_ = page.count;
        return true;
    }

    bool Over(Item& list, Item& report, JsonWriter& reply) {
        for (std::int32_t k = 0; k < list.GetInt(kListCount); ++k) {
            worker_.Platform().QueryReport(kOneReport, list.GetIndexed(kListEntry, k), report);
            for (std::int32_t j = 0; j < report.GetInt(kFillCount); ++j) {
                if (!Visit([&] { return report.GetIndexed(kFillEntry, j); }, reply)) return false;
            }
        }
        return true;
    }

    std::int32_t Count() const { return count_; }

  private:
    // The identifier is asked for once there is an item to fill.
    template <class FillId> bool Visit(FillId fillId, JsonWriter& reply) {
        const auto fill = CreateItem(worker_, request_, ItemClass::Fill);
        if (fill == nullptr) return false;
        // A fill that the platform does not know takes its place in the pages, without values.
        worker_.Platform().QueryReport(kOneReport, fillId(), *fill);
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
    const std::int32_t start = std::max(0, ToInt32(request.Member(L"QryIndex")));
    if (!OpenReportList(worker, request, kReportsWithFills, start, items)) return;
    JsonWriter reply;
    BeginReply(reply, request.name);
    reply.BeginArray(L"Orders");
    FillWalk walk(worker, request, start);
    if (!(items.page ? walk.Over(*items.page, reply)
                     : walk.Over(*items.list, *items.report, reply)))
        return;
    Log().Info(L"fill report count:%d", walk.Count());
    reply.EndArray();
    worker.SendData(reply.Finish(), true);
}

} // namespace halvane
