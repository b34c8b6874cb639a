#include "paper/orders/Ticket.h"

#include "foundation/support/Numbers.h"
#include "paper/base/Codes.h"

#include <algorithm>
#include <optional>

namespace halvane::paper {
namespace {

bool IsGiven(const Text& price) { return !price.empty() && price != L"0"; }

// A whole number of 1e-10; above 0 unless it is a net price.
std::optional<std::int64_t> ParsePrice(const Text& text, bool net) {
    TextView digits = text;
    if (net && digits.starts_with(L'-')) digits.remove_prefix(1);
    const bool plain =
        std::all_of(digits.begin(), digits.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
    if (!plain || digits.empty()) return std::nullopt;
    const std::int64_t price = ToInt64(text);
    if (price == INT64_MAX || price == INT64_MIN || (!net && price <= 0)) return std::nullopt;
    return price;
}

std::int32_t CheckSlices(const Ticket& ticket) {
    const std::int32_t shown = ticket.discloseQty;
    if (ticket.slicedType == 0) return kAccepted;
    if (ticket.slicedType != kIceberg) return kFeatureUnsupported;
    if (ticket.orderType != kLimit || ticket.timeInForce > kDay) return kBadStrategy;
    if (shown <= 0 || shown > ticket.quantity) return kBadQuantity;
    return (ticket.quantity - 1) / shown < kMostParts ? kAccepted : kBadQuantity;
}

std::int32_t CheckCodes(const Ticket& ticket, const Terms& terms) {
    const bool stock = terms.kind == InstrumentKind::Stock;
    if (stock != (ticket.kind == kStockOrder)) return kWrongOrderKind;
    if (ticket.side != kBuy && ticket.side != kSell) return kBadSide;
    if (ticket.orderType < kMarket || ticket.orderType > kStopLimit) return kBadOrderType;
    if (ticket.timeInForce < 0 || ticket.timeInForce > kFillOrKill) return kBadTimeInForce;
    if (ticket.quantity <= 0 || ticket.quantity > terms.maxQuantity) return kBadQuantity;
    const bool waits = ticket.CarriesStop() || ticket.Trails() || IsGiven(ticket.touchPrice);
    if (ticket.asksForMore || (terms.net && waits)) return kFeatureUnsupported;
    return CheckSlices(ticket);
}

std::int32_t ReadPrice(const Text& text, const Terms& terms, std::int32_t refusal,
                       std::int64_t& priceE10) {
    const std::optional<std::int64_t> price = ParsePrice(text, terms.net);
    if (!price) return refusal;
    priceE10 = *price;
    return CheckPrice(priceE10, terms);
}

// A price field that was put, or the last price.
std::int32_t FieldOf(std::int32_t field) { return field == 0 ? kLastPrice : field; }
bool IsField(std::int32_t field) { return field >= kLastPrice && field <= kAskPrice; }

std::int32_t ReadTouch(const Ticket& ticket, const Terms& terms, TicketPrices& prices) {
    const std::int32_t usual = ticket.side == kBuy ? kAtOrBelow : kAtOrAbove;
    const std::int32_t condition = ticket.touchCondition == 0 ? usual : ticket.touchCondition;
    Trigger trigger{.field = FieldOf(ticket.touchField), .upward = condition == kAtOrAbove};
    if (ticket.CarriesStop() || ticket.Trails() || !IsField(trigger.field)) return kBadTouch;
    if (condition != kAtOrAbove && condition != kAtOrBelow) return kBadTouch;
    const std::int32_t result = ReadPrice(ticket.touchPrice, terms, kBadTouch, trigger.touchE10);
    prices.trigger = trigger;
    return result;
}

std::int32_t ReadTrailing(const Ticket& ticket, const Terms& terms, Trigger& trigger) {
    const std::int32_t type = ticket.trailingType == 0 ? kByAmount : ticket.trailingType;
    const std::int64_t most = terms.upperE10;
    const std::int64_t amount = ticket.trailingAmount;
    if (type != kByAmount && type != kByTicks) return kBadTrailing;
    if (amount <= 0 || amount > (type == kByTicks ? most / terms.tickE10 : most))
        return kBadTrailing;
    trigger.field = FieldOf(ticket.trailingField);
    trigger.trailE10 = type == kByTicks ? amount * terms.tickE10 : amount;
    if (!IsField(trigger.field)) return kBadTrailing;
    return CheckPrice(trigger.trailE10, terms);
}

std::int32_t ReadStop(const Ticket& ticket, const Terms& terms, TicketPrices& prices) {
    Trigger trigger{.field = kLastPrice, .upward = ticket.side == kBuy};
    std::int32_t result = kAccepted;
    if (ticket.Trails()) result = ReadTrailing(ticket, terms, trigger);
    if (result == kAccepted && !(ticket.Trails() && !IsGiven(ticket.stopPrice)))
        result = ReadPrice(ticket.stopPrice, terms, kBadStopPrice, prices.stopE10);
    prices.trigger = trigger;
    return result;
}

std::int32_t ReadTrigger(const Ticket& ticket, const Terms& terms, TicketPrices& prices) {
    if (IsGiven(ticket.touchPrice)) return ReadTouch(ticket, terms, prices);
    if (ticket.CarriesStop()) return ReadStop(ticket, terms, prices);
    return ticket.Trails() ? kBadTrailing : kAccepted;
}

} // namespace

bool Ticket::CarriesLimit() const { return orderType == kLimit || orderType == kStopLimit; }
bool Ticket::CarriesStop() const { return orderType == kStop || orderType == kStopLimit; }

Terms TermsOf(const Instrument& instrument) {
    return {.kind = instrument.kind,
            .tickE10 = instrument.tickE10,
            .lowerE10 = instrument.lowerE10,
            .upperE10 = instrument.upperE10,
            .maxQuantity = instrument.maxQuantity,
            .net = false};
}

std::int32_t CheckPrice(std::int64_t priceE10, const Terms& terms) {
    if (!terms.net && priceE10 <= 0) return kBadPrice;
    return priceE10 % terms.tickE10 == 0 ? kAccepted : kOffTick;
}

std::int32_t CheckTicket(const Ticket& ticket, const Terms& terms, TicketPrices& prices) {
    std::int32_t result = CheckCodes(ticket, terms);
    if (result == kAccepted && ticket.CarriesLimit()) {
        result = ReadPrice(ticket.price, terms, kBadPrice, prices.limitE10);
    }
    return result == kAccepted ? ReadTrigger(ticket, terms, prices) : result;
}

std::int32_t ShownQuantity(const Ticket& ticket) {
    return ticket.slicedType == kIceberg ? ticket.discloseQty : ticket.quantity;
}

} // namespace halvane::paper
