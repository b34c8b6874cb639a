#pragma once

#include "paper/orders/Order.h"

namespace halvane {
class PaperItem;
}

namespace halvane::paper {

// Orders and fills as the platform's items show them: each fills an empty item.

void PutReport(PaperItem& item, const Order& order, const OrderState& state);

// The fill's own identity stands where a report has its own; the order's stands beside it.
void PutFill(PaperItem& item, const Fill& fill);

void PutReportList(PaperItem& item, std::vector<Text> reportIds);

} // namespace halvane::paper
