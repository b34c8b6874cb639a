#pragma once

#include "paper/market/Instrument.h"
#include "paper/market/Quote.h"

#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace halvane::paper {

class MarketClock;
struct Order;

// The other side of a trade: another client's order, or the background when there is none.
struct Match {
    Order* order;
    std::int64_t priceE10;
    std::int32_t quantity;
};

// The market in one instrument: what the background quotes, and the clients' orders in price-time
// order. The book finds trades; carrying them out is the exchange's part. An order that joins the
// background at its price stands behind what is quoted there at that moment, and only trades at
// that price bring it forward.
class Book {
  public:
    Book(const Instrument& instrument, const MarketClock& clock)
        : instrument_(instrument), clock_(clock), previousCloseE10_(instrument.referenceE10) {}

    const Instrument& TheInstrument() const { return instrument_; }
    const MarketClock& Clock() const { return clock_; }

    // What an option stands on; all else stands on itself.
    const Book& Underlying() const { return *underlying_; }
    void SetUnderlying(const Book& underlying) { underlying_ = &underlying; }

    // The last price of the day before.
    std::int64_t PreviousCloseE10() const { return previousCloseE10_; }
    void EndDay() { previousCloseE10_ = lastE10_; }

    const Quote& CurrentQuote() const { return quote_; }
    std::int64_t LastE10() const { return lastE10_; }
    void SetLast(std::int64_t priceE10);
    void Follow(const PriceStep& step);

    // The background's trade of the step, as far as it falls to resting orders: those in front of
    // the background, then those that stand where it has traded, once what was ahead of them is
    // gone. To be carried out before anything else changes the book.
    std::vector<std::pair<Order*, Match>> Serve(const PriceStep& step);

    // The best that an order coming in meets now, for as much as both sides have.
    std::optional<Match> BestFor(const Order& taker) const;
    // How much it would meet in all.
    std::int64_t AvailableTo(const Order& taker) const;
    void TakeFromQuote(std::int32_t takerSide, std::int32_t quantity);

    // A resting order may change price and place only while it is out of the book.
    void Rest(Order& order);
    void Remove(Order& order);

    // A resting order that the background's price has reached, with the trade that follows. When
    // the price has moved past the order since the last step, it trades where it was passed: it
    // would have been hit there.
    std::optional<std::pair<Order*, Match>> NextReached() const;

    // An order whose trigger a price has reached, and that price.
    Order* NextTriggered() const;
    std::int64_t TriggerPriceOf(const Order& order) const;
    // Brings a stop price that trails closer, and the limit with it.
    void Trail(Order& order) const;

  private:
    // Rank is the distance from the price that is served first; orders at any price come before.
    using Queue = std::map<std::pair<std::int64_t, std::uint64_t>, Order*>;

    static Queue::key_type KeyOf(const Order& order);
    Queue& QueueOf(std::int32_t side);
    const Queue& QueueOf(std::int32_t side) const;
    std::int64_t PriceOf(const Order& resting) const;
    std::optional<Match> BestOrderFor(const Order& taker) const;
    std::optional<Match> Reached(const Order& resting) const;

    void StandInLine(Order& order) const;

    const Instrument& instrument_;
    const MarketClock& clock_;
    Quote quote_{};
    Quote previous_{};
    std::int64_t lastE10_ = 0;
    std::int64_t previousCloseE10_;
    const Book* underlying_ = this;
    Queue buys_, sells_;
    std::vector<Order*> stops_;
};

} // namespace halvane::paper
