#include "paper/exchange/OrderRegistry.h"

#include "foundation/support/Clock.h"
#include "foundation/support/Numbers.h"

#include <algorithm>

namespace halvane::paper {
namespace {

// Null when none has the number.
template <typename Rows> auto Find(Rows& rows, std::uint64_t number) -> decltype(&rows.front()) {
    const auto found =
        std::ranges::lower_bound(rows, number, {}, [](const auto& row) { return row.number; });
    return found == rows.end() || found->number != number ? nullptr : &*found;
}

} // namespace

// The moment at which this run began: no other had the same.
OrderRegistry::OrderRegistry() : identities_(DecimalText(TheClock().UnixTimeMs())) {}

Order& OrderRegistry::Enter(const Draft& draft, std::int32_t tradeDate) {
    const OrderState state{.quantity = draft.ticket.quantity,
                           .leaves = draft.ticket.quantity,
                           .priceE10 = draft.prices.limitE10,
                           .stopE10 = draft.prices.stopE10};
    const auto trigger = draft.prices.trigger;
    Order& order = orders_.emplace_back(Order{.identities = identities_,
                                              .number = identities_.Next(),
                                              .ticket = KeptTicket(draft.ticket),
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
    identities_.Next(); // of the order, beside its report's
    if (draft.second) order.second.emplace(*draft.second);
    return order;
}

const Fill& OrderRegistry::Add(Order& order, const Book& book, std::int32_t side,
                               std::int64_t priceE10, std::int32_t quantity, Stamp stamp) {
    const Fill& fill = fills_.emplace_back(Fill{.number = identities_.Next(),
                                                .order = order,
                                                .book = book,
                                                .side = side,
                                                .priceE10 = priceE10,
                                                .quantity = quantity,
                                                .stamp = stamp});
    order.fills.push_back(&fill);
    order.state.fillCount = order.fills.size();
    return fill;
}

Order* OrderRegistry::FindOrder(TextView reportId) {
    return Find(orders_, identities_.NumberIn(Identities::kReport, reportId));
}

const Fill* OrderRegistry::FindFill(TextView fillId) const {
    return Find(fills_, identities_.NumberIn(Identities::kFill, fillId));
}

} // namespace halvane::paper
