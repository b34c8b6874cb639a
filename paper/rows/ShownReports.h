#pragma once

#include "paper/orders/Order.h"
#include "paper/rows/RunningSum.h"

#include <deque>
#include <vector>

namespace halvane::paper {

// The reports as the clients have been told of them: an order's state is shown when its event is
// fired, not before. So who reads a report because of an event sees what the event was about, and a
// list never runs ahead of the events. Orders are first shown in the order in which they came.
class ShownReports {
  public:
    struct Row {
        const Order* order;
        OrderState state;
    };

    void Show(const Order& order, const OrderState& state);

    // Null when nothing of it was shown yet.
    const Row* Find(TextView reportId) const;

    // In the order in which the reports were first shown.
    std::vector<Text> Ids(bool withFillsOnly) const;

    // Pages of identifiers, from `start` on, in the same time however much stands before them: of
    // the reports, and of their fills, one report's after the other's.
    std::vector<Text> ReportIds(std::size_t start, std::size_t most) const;
    std::vector<Text> FillIds(std::size_t start, std::size_t most) const;
    std::size_t CountReports() const { return rows_.size(); }
    std::size_t CountFills() const { return fills_.Total(); }

  private:
    std::deque<Row> rows_; // by the numbers of their orders
    RunningSum fills_;     // of the rows
};

} // namespace halvane::paper
