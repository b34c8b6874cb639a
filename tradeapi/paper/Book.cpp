#include "tradeapi/paper/Book.h"

#include "tradeapi/paper/Codes.h"
#include "tradeapi/paper/Order.h"

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

} // namespace

void Book::SetTick(const Tick& tick) {
    previous_ = quote_;
    quote_ = tick.quote;
    lastE10_ = tick.lastE10;
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
    for (const auto& [key, order] : QueueOf(taker.IsBuy() ? kSell : kBuy)) {
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
    return Match{nullptr, price, std::min(size, taker.state.leaves)};
}

std::int64_t Book::AvailableTo(const Order& taker) const {
    const bool quoted = Accepts(taker, quote_.PriceFor(taker.ticket.side));
    std::int64_t available = quoted ? quote_.SizeFor(taker.ticket.side) : 0;
    for (const auto& [key, order] : QueueOf(taker.IsBuy() ? kSell : kBuy)) {
        if (Accepts(taker, PriceOf(*order))) available += order->state.leaves;
    }
    return available;
}

void Book::TakeFromQuote(std::int32_t takerSide, std::int32_t quantity) {
    quote_.SizeFor(takerSide) -= quantity;
}

void Book::Rest(Order& order) {
    if (order.waiting) {
        stops_.push_back(&order);
    } else {
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

Order* Book::NextTriggered() const {
    const auto reached = [this](const Order* order) {
        const std::int64_t stop = order->state.stopE10;
        return order->IsBuy() ? lastE10_ >= stop : lastE10_ <= stop;
    };
    const auto stop = std::find_if(stops_.begin(), stops_.end(), reached);
    return stop == stops_.end() ? nullptr : *stop;
}

} // namespace halvane::paper
