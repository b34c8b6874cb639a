#include "paper/rows/ShownReports.h"

#include <algorithm>

namespace halvane::paper {
namespace {

// Where the order's row is or would be.
template <typename Rows> auto Seek(Rows& rows, std::uint64_t number) {
    return std::ranges::lower_bound(rows, number, {},
                                    [](const auto& row) { return row.order->number; });
}

} // namespace

void ShownReports::Show(const Order& order, const OrderState& state) {
    const auto row = Seek(rows_, order.number);
    if (row == rows_.end()) {
        rows_.push_back({&order, state});
        fills_.Append(state.fillCount);
    } else {
        const auto at = static_cast<std::size_t>(row - rows_.begin());
        fills_.Add(at, state.fillCount - row->state.fillCount);
        row->state = state;
    }
}

const ShownReports::Row* ShownReports::Find(TextView reportId) const {
    if (rows_.empty()) return nullptr;
    const Identities& identities = rows_.front().order->identities;
    const std::uint64_t number = identities.NumberIn(Identities::kReport, reportId);
    const auto row = Seek(rows_, number);
    return row == rows_.end() || row->order->number != number ? nullptr : &*row;
}

std::vector<Text> ShownReports::Ids(bool withFillsOnly) const {
    std::vector<Text> ids;
    for (const Row& row : rows_) {
        if (!withFillsOnly || row.state.fillCount > 0) ids.push_back(row.order->ReportId());
    }
    return ids;
}

std::vector<Text> ShownReports::ReportIds(std::size_t start, std::size_t most) const {
    std::vector<Text> ids;
    for (std::size_t at = start; at < rows_.size() && ids.size() < most; ++at)
        ids.push_back(rows_[at].order->ReportId());
    return ids;
}

std::vector<Text> ShownReports::FillIds(std::size_t start, std::size_t most) const {
    std::vector<Text> ids;
    for (std::size_t at = start; at < fills_.Total() && ids.size() < most; ++at) {
        const auto [row, fill] = fills_.Find(at);
        ids.push_back(rows_[row].order->fills[fill]->FillId());
    }
    return ids;
}

} // namespace halvane::paper
