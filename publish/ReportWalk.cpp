#include "publish/ReportWalk.h"

#include "publish/ReportDocument.h"
#include "tradeapi/TradeApi.h"

namespace halvane {
namespace {

constexpr std::int32_t kAtOnce = 500;

using Tell = std::function<bool(ItemClass itemClass, TextView identifier)>;

// For a platform that can tell its lists by the page; nothing when it cannot. `kind` is that of the
// page.
std::optional<bool> WalkPages(TradeApi& tradeApi, std::int32_t kind, ItemClass itemClass,
                              const Tell& tell, const std::stop_token& stop) {
    bool whole = true;
    for (std::int32_t start = 0;;) {
        const auto page = tradeApi.QueryPage(kind, start, kAtOnce);
        if (!page) return std::nullopt;
        for (const Text& identifier : page->identifiers) {
            if (stop.stop_requested()) return false;
            whole &= tell(itemClass, identifier);
        }
        start += static_cast<std::int32_t>(page->identifiers.size());
        if (page->identifiers.empty() || start >= page->count) return whole;
    }
}

// For all others: `visit` is given each report of the list.
bool WalkList(TradeApi& tradeApi, std::int32_t kind, const std::function<bool(TextView)>& visit,
              const std::stop_token& stop) {
    const auto list = tradeApi.CreateItem(ItemClass::ReportList);
    if (list == nullptr) return false;
    tradeApi.QueryReport(kind, L"", *list);
    bool whole = true;
    for (std::int32_t at = 0; at < list->GetInt(kListCount); ++at) {
        if (stop.stop_requested()) return false;
        whole &= visit(list->GetIndexed(kListEntry, at));
    }
    return whole;
}

bool WalkFillsOf(TradeApi& tradeApi, TextView reportId, const Tell& tell) {
    const auto report = tradeApi.CreateItem(ItemClass::ExecutionReport);
    if (report == nullptr || tradeApi.QueryReport(kOneReport, reportId, *report) == 0) return false;
    bool whole = true;
    for (std::int32_t at = 0; at < report->GetInt(kFillCount); ++at)
        whole &= tell(ItemClass::Fill, report->GetIndexed(kFillEntry, at));
    return whole;
}

} // namespace

bool WalkReports(TradeApi& tradeApi, const std::function<void(std::string json)>& take,
                 const std::stop_token& stop) {
    const Tell tell = [&](ItemClass itemClass, TextView identifier) {
        return DescribeReport(tradeApi, itemClass, identifier, take);
    };
    auto reports = WalkPages(tradeApi, kReports, ItemClass::ExecutionReport, tell, stop);
    if (!reports) {
        const auto visit = [&](TextView id) { return tell(ItemClass::ExecutionReport, id); };
        reports = WalkList(tradeApi, kReports, visit, stop);
    }
    auto fills = WalkPages(tradeApi, kReportsWithFills, ItemClass::Fill, tell, stop);
    if (!fills) {
        const auto visit = [&](TextView id) { return WalkFillsOf(tradeApi, id, tell); };
        fills = WalkList(tradeApi, kReportsWithFills, visit, stop);
    }
    return *reports && *fills;
}

} // namespace halvane
