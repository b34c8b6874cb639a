#include "paper/base/Codes.h"
#include "paper/exchange/Exchange.h"
#include "paper/orders/Spread.h"
#include "tradeapi/Symbols.h"

#include <algorithm>

namespace halvane::paper {

// The report bears the combined symbol, however the client has named the legs.
std::int32_t Exchange::FindLegs(Draft& draft) {
    const auto legs = LegsOf(draft.ticket);
    if (!legs) return kUnfitSpread;
    const auto first = bySymbol_.find(legs->first);
    const auto second = bySymbol_.find(legs->second);
    if (first == bySymbol_.end() || second == bySymbol_.end()) return kUnknownSymbol;
    draft.book = first->second;
    draft.ticket.symbol = CombineSymbols(legs->first, legs->second);
    if (hours_.HasExpired(*first->second) || hours_.HasExpired(*second->second))
        return kContractExpired;
    const auto side = SecondSide(draft.ticket);
    if (!side) return kBadSide;
    const auto terms = TermsOfSpread(*first->second, *second->second, *side == draft.ticket.side);
    if (!terms) return kUnfitSpread;
    draft.second.emplace(Leg{*second->second, *side});
    draft.terms = *terms;
    return kAccepted;
}

void Exchange::Rest(Order& order) {
    if (order.second) {
        spreads_.push_back(&order);
    } else {
        order.book.Rest(order);
    }
}

void Exchange::Remove(Order& order) {
    if (order.second) {
        std::erase(spreads_, &order);
    } else {
        order.book.Remove(order);
    }
}

bool Exchange::TradeSpread(Order& order) {
    const std::optional<SpreadMatch> match = MatchSpread(order);
    if (!match) return false;
    Leg& second = *order.second;
    order.book.TakeFromQuote(order.ticket.side, match->quantity);
    second.book.TakeFromQuote(second.side, match->quantity);
    const LegFill legs[] = {{order.book, order.ticket.side, match->firstE10},
                            {second.book, second.side, match->secondE10}};
    AddFills(order, legs, match->netE10, match->quantity);
    return true;
}

// Those that wait longest are served first; what they take of the quotes others do not get.
void Exchange::SweepSpreads() {
    std::vector<Order*> waiting = spreads_;
    std::sort(waiting.begin(), waiting.end(),
              [](const Order* a, const Order* b) { return a->place < b->place; });
    for (Order* order : waiting) {
        if (IsOpenTo(*order) && TradeSpread(*order) && !order->IsWorking()) Remove(*order);
    }
}

} // namespace halvane::paper
