#include "paper/orders/Book.h"

#include "paper/base/Codes.h"
#include "paper/orders/Order.h"

#include <algorithm>

namespace halvane::paper {
namespace {

bool Accepts(const Order& order, std::int64_t priceE10) {
    if (priceE10 <= 0) return false;
    const std::int64_t limit = order.state.priceE10;
    return limit == kNoInt64 || (order.IsBuy() ? priceE10 <= limit : priceE10 >= limit);
}

bool IsBetter(const Order& taker, std::int64_t priceE10, std::int64_t thanE10) {
    return taker.IsBuy() ? priceE10 < thanE10 : priceE10 > thanE10;
}

// Is a resting order served before one at the other price? One at any price is served before all.
bool StandsBefore(const Order& resting, std::int64_t priceE10) {
    const std::int64_t own = resting.state.priceE10;
    return own == kNoInt64 || priceE10 <= 0 || IsBetter(resting, priceE10, own);
}

} // namespace

void Book::SetLast(std::int64_t priceE10) {
    lastE10_ = priceE10;
    for (Order* order : stops_)
        Trail(*order);
}

void Book::Follow(const PriceStep& step) {
    previous_ = quote_;
    quote_ = step.quote;
    SetLast(step.lastE10);
    for (const std::int32_t side : {kBuy, kSell}) {
        const std::int64_t price = quote_.PriceFor(Opposite(side));
        for (const auto& [key, order] : QueueOf(side)) {
            if (order->state.priceE10 != price && !StandsBefore(*order, price)) break;
            StandInLine(*order);
        }
    }
}

void Book::StandInLine(Order& order) const {
    const std::int32_t side = Opposite(order.ticket.side); // of who takes from it
    const std::int64_t price = quote_.PriceFor(side);
    if (StandsBefore(order, price)) {
        order.ahead = 0;
    } else if (order.state.priceE10 == price && order.ahead == Order::kUnknown) {
        order.ahead = quote_.SizeFor(side);
    }
}

std::vector<std::pair<Order*, Match>> Book::Serve(const PriceStep& step) {
    std::vector<std::pair<Order*, Match>> served;
    std::int64_t left = step.lastSize;
    std::int64_t passed = 0; // of the background
    for (const auto& [key, order] : QueueOf(Opposite(step.lastSide))) {
        const std::int64_t price = order->state.priceE10;
        if (price == kNoInt64) continue;
        if (price != step.lastE10 && !StandsBefore(*order, step.lastE10)) break;
        const std::int64_t before =
            std::min(std::max<std::int64_t>(order->ahead - passed, 0), left);
        passed += before;
        left -= before;
        order->ahead = std::max<std::int64_t>(order->ahead - passed, 0);
        const auto quantity =
            static_cast<std::int32_t>(std::min<std::int64_t>(left, order->state.leaves));
        if (quantity > 0) served.push_back({order, {nullptr, price, quantity}});
        left -= quantity;
    }
    return served;
}

Book::Queue::key_type Book::KeyOf(const Order& order) {
    const std::int64_t price = order.state.priceE10;
    const std::int64_t rank = price == kNoInt64 ? INT64_MIN : order.IsBuy() ? -price : price;
    return {rank, order.place};
}

Book::Queue& Book::QueueOf(std::int32_t side) { return side == kBuy ? buys_ : sells_; }
const Book::Queue& Book::QueueOf(std::int32_t side) const { return side == kBuy ? buys_ : sells_; }

// An order at any price stands where the background would serve it next.
std::int64_t Book::PriceOf(const Order& resting) const {
    const std::int64_t price = resting.state.priceE10;
    return price != kNoInt64 ? price : quote_.PriceFor(resting.ticket.side);
}

std::optional<Match> Book::BestOrderFor(const Order& taker) const {
    for (const auto& [key, order] : QueueOf(Opposite(taker.ticket.side))) {
        const std::int64_t price = PriceOf(*order);
        if (Accepts(taker, price)) {
            return Match{order, price, std::min(order->state.leaves, taker.state.leaves)};
        }
        if (order->state.priceE10 != kNoInt64) break; // those behind ask for more
    }
    return std::nullopt;
}

std::optional<Match> Book::BestFor(const Order& taker) const {
    const std::optional<Match> order = BestOrderFor(taker);
    const std::int64_t price = quote_.PriceFor(taker.ticket.side);
    const std::int32_t size = quote_.SizeFor(taker.ticket.side);
    if (size == 0 || !Accepts(taker, price)) return order;
    if (order && IsBetter(taker, order->priceE10, price)) return order;
    std::int64_t first = size; // of the background, before the clients
    if (order && order->priceE10 == price) first = std::min(first, order->order->ahead);
    if (first == 0) return order;
    return Match{nullptr, price,
                 static_cast<std::int32_t>(std::min<std::int64_t>(first, taker.state.leaves))};
}

std::int64_t Book::AvailableTo(const Order& taker) const {
    const bool quoted = Accepts(taker, quote_.PriceFor(taker.ticket.side));
    std::int64_t available = quoted ? quote_.SizeFor(taker.ticket.side) : 0;
    for (const auto& [key, order] : QueueOf(Opposite(taker.ticket.side))) {
        if (Accepts(taker, PriceOf(*order))) available += order->state.leaves;
    }
    return available;
}

void Book::TakeFromQuote(std::int32_t takerSide, std::int32_t quantity) {
    quote_.SizeFor(takerSide) -= quantity;
    const std::int64_t price = quote_.PriceFor(takerSide);
    for (const auto& [key, order] : QueueOf(Opposite(takerSide))) {
        if (order->state.priceE10 != price && !StandsBefore(*order, price)) break;
        order->ahead = std::max<std::int64_t>(order->ahead - quantity, 0);
    }
}

void Book::Rest(Order& order) {
    if (order.waiting) {
        stops_.push_back(&order);
    } else {
        StandInLine(order);
        QueueOf(order.ticket.side).emplace(KeyOf(order), &order);
    }
}

void Book::Remove(Order& order) {
    if (order.waiting) {
        std::erase(stops_, &order);
    } else {
        QueueOf(order.ticket.side).erase(KeyOf(order));
    }
}

std::optional<Match> Book::Reached(const Order& resting) const {
    const std::int32_t side = resting.ticket.side;
    const std::int32_t size = quote_.SizeFor(side);
    std::int64_t price = quote_.PriceFor(side);
    if (size == 0 || !Accepts(resting, price)) return std::nullopt;
    const std::int64_t before = previous_.PriceFor(side);
    if (before > 0 && IsBetter(resting, price, before)) price = before;
    if (!Accepts(resting, price)) price = resting.state.priceE10;
    return Match{nullptr, price, std::min(size, resting.state.leaves)};
}

std::optional<std::pair<Order*, Match>> Book::NextReached() const {
    for (const Queue* queue : {&buys_, &sells_}) {
        if (queue->empty()) continue;
        Order* order = queue->begin()->second;
        if (const auto match = Reached(*order)) return std::pair{order, *match};
    }
    return std::nullopt;
}

std::int64_t Book::TriggerPriceOf(const Order& order) const {
    const std::int32_t field = order.trigger->field;
    const std::int64_t price = field == kBidPrice   ? quote_.bidE10
                               : field == kAskPrice ? quote_.askE10
                                                    : lastE10_;
    return price > 0 ? price : lastE10_;
}

void Book::Trail(Order& order) const {
    const std::int64_t distance = order.trigger->trailE10;
    if (distance == 0) return;
    OrderState& state = order.state;
    const bool upward = order.trigger->upward;
    const std::int64_t stop = TriggerPriceOf(order) + (upward ? distance : -distance);
    const std::int64_t before = state.stopE10;
    if (before != kNoInt64 && (upward ? stop >= before : stop <= before)) return;
    if (before != kNoInt64 && state.priceE10 != kNoInt64)
        state.priceE10 =
            std::clamp(state.priceE10 + stop - before, order.terms.lowerE10, order.terms.upperE10);
    state.stopE10 = stop;
}

Order* Book::NextTriggered() const {
    const auto reached = [this](const Order* order) {
        const Trigger& trigger = *order->trigger;
        const bool touch = trigger.touchE10 != kNoInt64;
        const std::int64_t wanted = touch ? trigger.touchE10 : order->state.stopE10;
        const std::int64_t price = TriggerPriceOf(*order);
        return trigger.upward ? price >= wanted : price <= wanted;
    };
    const auto stop = std::find_if(stops_.begin(), stops_.end(), reached);
    return stop == stops_.end() ? nullptr : *stop;
}

} // namespace halvane::paper
