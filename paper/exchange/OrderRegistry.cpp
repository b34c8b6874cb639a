#include "paper/exchange/OrderRegistry.h"

#include "foundation/support/Clock.h"
#include "foundation/support/Numbers.h"

#include <utility>

namespace halvane::paper {

OrderRegistry::OrderRegistry() : idStem_(DecimalText(TheClock().UnixTimeMs())) {}

Text OrderRegistry::NextId(const wchar_t* kind) {
    return kind + idStem_ + L"-" + DecimalText(static_cast<std::int64_t>(++lastId_));
}

Order& OrderRegistry::Enter(Draft draft, std::int32_t tradeDate) {
    const OrderState state{.quantity = draft.ticket.quantity,
                           .leaves = draft.ticket.quantity,
                           .priceE10 = draft.prices.limitE10,
                           .stopE10 = draft.prices.stopE10};
    const auto trigger = draft.prices.trigger;
    Order& order = orders_.emplace_back(Order{.reportId = NextId(L"R"),
                                              .orderId = NextId(L"O"),
                                              .ticket = std::move(draft.ticket),
                                              .tradeDate = tradeDate,
                                              .account = *draft.account,
                                              .book = *draft.book,
                                              .second = {},
                                              .terms = draft.terms,
                                              .state = state,
                                              .fills = {},
                                              .frozen = {},
                                              .trigger = trigger,
                                              .slice = draft.slice,
                                              .place = NextPlace(),
                                              .waiting = trigger.has_value()});
    if (draft.second) order.second.emplace(*draft.second);
    byReportId_.emplace(order.reportId, &order);
    return order;
}

const Fill& OrderRegistry::Add(Order& order, const Book& book, std::int32_t side,
                               std::int64_t priceE10, std::int32_t quantity, Stamp stamp) {
    const Fill& fill = fills_.emplace_back(Fill{.fillId = NextId(L"F"),
                                                .order = order,
                                                .book = book,
                                                .side = side,
                                                .priceE10 = priceE10,
                                                .quantity = quantity,
                                                .stamp = stamp});
    byFillId_.emplace(fill.fillId, &fill);
    order.fills.push_back(&fill);
    order.state.fillCount = order.fills.size();
    return fill;
}

Order* OrderRegistry::FindOrder(TextView reportId) const {
    const auto found = byReportId_.find(reportId);
    return found == byReportId_.end() ? nullptr : found->second;
}

const Fill* OrderRegistry::FindFill(TextView fillId) const {
    const auto found = byFillId_.find(fillId);
    return found == byFillId_.end() ? nullptr : found->second;
}

} // namespace halvane::paper
