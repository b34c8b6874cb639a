#include "foundation/support/Numbers.h"
#include "paper/base/Codes.h"
#include "paper/exchange/Exchange.h"
#include "paper/orders/Strategy.h"

#include <algorithm>
#include <utility>

namespace halvane::paper {

void Exchange::NewStrategyOrder(TextView json) {
    const std::optional<Strategy> strategy = ReadStrategy(json);
    if (!strategy) return;
    Draft draft{.ticket = strategy->ticket};
    std::int32_t result = Check(draft); // of the whole
    if (draft.account == nullptr || draft.book == nullptr) return;
    if (result == kAccepted) result = strategy->result;
    if (result == kAccepted) {
        PlaceFirstPart(std::move(draft));
    } else {
        Reject(Enter(std::move(draft)), result);
    }
}

// All of it when it is not sliced.
void Exchange::PlaceFirstPart(Draft draft) {
    const std::int32_t left = draft.ticket.quantity - ShownQuantity(draft.ticket);
    draft.ticket.quantity -= left;
    if (draft.ticket.slicedType != 0) draft.slice = 1;
    PlacePart(std::move(draft), left);
    PlaceNextParts();
}

// It may be filled at once, so what follows it has to be known before it trades.
void Exchange::PlacePart(Draft draft, std::int32_t left) {
    Order& order = Enter(std::move(draft));
    if (left > 0) hidden_.emplace(&order, left);
    Place(order);
    if (!order.IsWorking() && order.state.execType != kFilled) hidden_.erase(&order);
}

// Parts that are filled at once have the next one follow at once.
void Exchange::PlaceNextParts() {
    while (!filledParts_.empty()) {
        const Order& order = *filledParts_.back();
        filledParts_.pop_back();
        const std::int32_t left = hidden_.extract(&order).mapped();
        Draft draft{.ticket = order.ticket,
                    .account = &order.account,
                    .book = &order.book,
                    .terms = order.terms,
                    .prices = {.limitE10 = order.state.priceE10},
                    .slice = order.slice + 1};
        if (order.second) draft.second.emplace(*order.second);
        draft.ticket.quantity = std::min(order.ticket.quantity, left);
        draft.ticket.price = DecimalText(order.state.priceE10);
        PlacePart(std::move(draft), left - draft.ticket.quantity);
    }
}

} // namespace halvane::paper
