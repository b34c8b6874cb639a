#include "paper/exchange/Slices.h"

#include <algorithm>
#include <utility>

namespace halvane::paper {

Slices::Part Slices::FirstPart(Draft&& whole) {
    const std::int32_t left = whole.ticket.quantity - ShownQuantity(whole.ticket);
    whole.ticket.quantity -= left;
    if (whole.ticket.slicedType != 0) whole.slice = 1;
    return {std::move(whole), left};
}

void Slices::Hide(const Order& shown, Ticket ticket, std::int32_t left) {
    hidden_.emplace(&shown, Hidden{std::move(ticket), left});
}

void Slices::OnFilled(const Order& shown) {
    if (hidden_.contains(&shown)) filled_.push_back(&shown);
}

std::optional<Slices::Part> Slices::TakeNext() {
    if (filled_.empty()) return std::nullopt;
    const Order& shown = *filled_.back();
    filled_.pop_back();
    auto [ticket, left] = std::move(hidden_.extract(&shown).mapped());
    ticket.quantity = std::min(ticket.quantity, left);
    left -= ticket.quantity;
    Part part{.draft = {.ticket = std::move(ticket),
                        .account = &shown.account,
                        .book = &shown.book,
                        .terms = shown.terms,
                        .prices = {.limitE10 = shown.state.priceE10}, // it may have been replaced
                        .slice = shown.slice + 1},
              .left = left};
    if (shown.second) part.draft.second.emplace(*shown.second);
    return part;
}

} // namespace halvane::paper
