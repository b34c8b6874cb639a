#include "paper/rows/ShownReports.h"

namespace halvane::paper {

void ShownReports::Show(const Order& order, const OrderState& state) {
    const auto [found, isNew] = byReportId_.try_emplace(order.reportId, rows_.size());
    if (isNew) {
        rows_.push_back({&order, state});
    } else {
        rows_[found->second].state = state;
    }
}

const ShownReports::Row* ShownReports::Find(TextView reportId) const {
    const auto found = byReportId_.find(reportId);
    return found == byReportId_.end() ? nullptr : &rows_[found->second];
}

std::vector<Text> ShownReports::Ids(bool withFillsOnly) const {
    std::vector<Text> ids;
    for (const Row& row : rows_) {
        if (!withFillsOnly || row.state.fillCount > 0) ids.push_back(row.order->reportId);
    }
    return ids;
}

} // namespace halvane::paper
