#pragma once

#include "tradeapi/TradeApi.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace halvane {

class RepWorker;
struct Request;

// A list of reports and the item that each of them is read into. The list is the platform's, or,
// when the platform can tell that by itself, only the page that is wanted.
struct ReportItems {
    std::unique_ptr<Item> list;
    std::unique_ptr<Item> report;
    std::optional<IdentifierPage> page;
    std::int32_t start = 0; // of the page

    std::int32_t Count();
    TextView Entry(std::int32_t index);
};

// The list filled by the platform's report query of that kind, or the page of it that begins at
// `start`. False when an item cannot be created: the request has then been answered.
[[nodiscard]] bool OpenReportList(RepWorker& worker, const Request& request, std::int32_t kind,
                                  std::int32_t start, ReportItems& items);

} // namespace halvane
