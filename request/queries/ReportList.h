#pragma once

#include "tradeapi/Items.h"

#include <cstdint>
#include <memory>

namespace halvane {

class RepWorker;
struct Request;

// The identifiers that a report list and an execution report hold, by dispatch id.
inline constexpr std::int32_t kListCount = 2;  // of a list: how many reports
inline constexpr std::int32_t kListEntry = 4;  // of a list: the identifier of report n
inline constexpr std::int32_t kFillCount = 39; // of an execution report: how many fills
inline constexpr std::int32_t kFillEntry = 3;  // of an execution report: the identifier of fill n

// A list of reports and the item that each of them is read into.
struct ReportItems {
    std::unique_ptr<Item> list;
    std::unique_ptr<Item> report;
};

// The list filled by the platform's report query of that kind. False when an item cannot be
// created: the request has then been answered.
[[nodiscard]] bool OpenReportList(RepWorker& worker, const Request& request, std::int32_t kind,
                                  ReportItems& items);

} // namespace halvane
