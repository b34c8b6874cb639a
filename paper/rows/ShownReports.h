#pragma once

#include "paper/orders/Order.h"

#include <functional>
#include <map>
#include <vector>

namespace halvane::paper {

// The reports as the clients have been told of them: an order's state is shown when its event is
// fired, not before. So who reads a report because of an event sees what the event was about, and a
// list never runs ahead of the events.
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

  private:
    std::vector<Row> rows_;
    std::map<TextView, std::size_t, std::less<>> byReportId_;
};

} // namespace halvane::paper
