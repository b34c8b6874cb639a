#include "paper/orders/Spread.h"

#include "foundation/support/Strings.h"
#include "paper/base/Codes.h"
#include "paper/orders/Book.h"
#include "paper/orders/Order.h"
#include "tradeapi/Symbols.h"

#include <algorithm>
#include <numeric>

namespace halvane::paper {
namespace {

std::pair<Text, Text> NamedLegs(const Ticket& ticket) {
    if (!ticket.symbolB.empty()) {
        return {ticket.symbolA.empty() ? ticket.symbol : ticket.symbolA, ticket.symbolB};
    }
    if (ticket.symbol.find(L'^') != Text::npos) return SplitCombinedSymbol(ticket.symbol);
    return {Text(*SplitField(ticket.symbol, L'&', 0)),
            Text(SplitField(ticket.symbol, L'&', 1).value_or(TextView()))};
}

} // namespace

bool IsSpread(const Ticket& ticket) {
    return !ticket.symbolB.empty() || ticket.symbol.find_first_of(L"^&") != Text::npos;
}

bool MakeSpread(TextView legA, TextView legB) {
    const std::pair legs{Text(legA), Text(legB)};
    return legA != legB && SplitCombinedSymbol(CombineSymbols(legA, legB)) == legs;
}

std::optional<std::pair<Text, Text>> LegsOf(const Ticket& ticket) {
    auto legs = NamedLegs(ticket);
    if (!MakeSpread(legs.first, legs.second)) return std::nullopt;
    return legs;
}

std::optional<std::int32_t> SecondSide(const Ticket& ticket) {
    if (ticket.side1 != 0 && ticket.side1 != ticket.side) return std::nullopt;
    if (ticket.side2 == 0) return Opposite(ticket.side);
    if (ticket.side2 != kBuy && ticket.side2 != kSell) return std::nullopt;
    return ticket.side2;
}

std::optional<Terms> TermsOfSpread(const Book& first, const Book& second, bool sameWay) {
    const Instrument& a = first.TheInstrument();
    const Instrument& b = second.TheInstrument();
    if (a.multiplier != b.multiplier) return std::nullopt;
    return Terms{.kind = a.kind,
                 .tickE10 = std::gcd(a.tickE10, b.tickE10),
                 .lowerE10 = a.lowerE10 + (sameWay ? b.lowerE10 : -b.upperE10),
                 .upperE10 = a.upperE10 + (sameWay ? b.upperE10 : -b.lowerE10),
                 .maxQuantity = std::min(a.maxQuantity, b.maxQuantity),
                 .net = true};
}

std::optional<SpreadMatch> MatchSpread(const Order& order) {
    const std::int32_t side = order.ticket.side;
    const std::int32_t secondSide = order.second->side;
    const Quote& first = order.book.CurrentQuote();
    const Quote& second = order.second->book.CurrentQuote();
    const std::int64_t firstE10 = first.PriceFor(side);
    const std::int64_t secondE10 = second.PriceFor(secondSide);
    const std::int64_t netE10 = firstE10 + (side == secondSide ? secondE10 : -secondE10);
    const std::int64_t limit = order.state.priceE10;
    const bool accepted = limit == kNoInt64 || (order.IsBuy() ? netE10 <= limit : netE10 >= limit);
    const std::int32_t size =
        std::min({first.SizeFor(side), second.SizeFor(secondSide), order.state.leaves});
    if (!accepted || size <= 0 || firstE10 <= 0 || secondE10 <= 0) return std::nullopt;
    return SpreadMatch{firstE10, secondE10, netE10, size};
}

} // namespace halvane::paper
