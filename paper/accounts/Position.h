#pragma once

#include "paper/orders/Order.h"

#include <algorithm>
#include <cstdint>

namespace halvane::paper {

class Book;

// What a position brought into the day, and its cost and profit by date: those take what was
// carried over as if it had been bought at the value that it had when the day began.
struct PositionDay {
    std::int64_t carried = 0; // of the net quantity, older than today; it is closed first
    std::int64_t carriedAtStart = 0;
    std::int64_t costE6 = 0;
    std::int64_t realisedE6 = 0;
    std::int64_t marginAtStartE6 = 0;
    std::int64_t modelGainAtStartE6 = 0;               // see Risk.h
    std::int64_t previousE6 = 0, previousModelE6 = 0;  // the profits of the day before
    std::int64_t orders = 0, deals = 0, deletions = 0; // that were taken, filled, cancelled
};

// What an account holds of one instrument: one net quantity, long above 0 and short below. All
// figures follow from the fills. What was bought, sold, opened, closed, realised and paid for is
// that of the day.
struct Position {
    const Book* book;
    Rates rates{}; // of its account
    std::int64_t net = 0;
    std::int64_t costE6 = 0;                    // of the net quantity, below 0 for a short one
    std::int64_t realisedE6 = 0, earlierE6 = 0; // today and before
    std::int64_t commissionE6 = 0;
    std::int64_t bought = 0, sold = 0, opened = 0, closed = 0;
    std::int64_t boughtE6 = 0, soldE6 = 0, openedE6 = 0, closedE6 = 0; // amounts of the above
    std::int64_t workingBuy = 0, workingSell = 0;
    std::int64_t combined = 0; // of the net quantity; it cannot be closed
    Frozen frozen{};
    Stamp stamp{};     // of the last fill
    bool held = false; // since the first fill
    PositionDay day{};

    // Books the trade; the profit that closing part of the position has brought.
    std::int64_t Apply(bool buy, std::int64_t priceE10, std::int64_t quantity);

    std::int64_t ValueE6() const; // at the last price, below 0 when short
    std::int64_t OpenProfitE6() const { return ValueE6() - costE6; }
    std::int64_t OpenProfitByDateE6() const { return ValueE6() - day.costE6; }
    std::int64_t ProfitE6() const { return OpenProfitE6() + realisedE6 + earlierE6; }
    std::int64_t DayProfitE6() const { return OpenProfitByDateE6() + day.realisedE6; }

    // What is held now is carried over; the figures of the day start anew. `modelGainE6` is what
    // the model gives above the last price at that moment, see Risk.h.
    void EndDay(std::int64_t modelGainE6);

    // What must be there to hold the position. A long stock or option is paid for: nothing. Stocks
    // held short need their value and a share on top, options held short their value and a share of
    // the strike, futures a share of the contract's value.
    std::int64_t MarginE6() const;

    std::int64_t AveragePriceE10() const; // kNoInt64 when flat
    std::int64_t LongQty() const { return net > 0 ? net : 0; }
    std::int64_t ShortQty() const { return net < 0 ? -net : 0; }
    // Would an order for the quantity, with those that work already, close what is combined?
    bool Breaks(bool buy, std::int64_t quantity) const;
    // What is neither combined nor about to be closed; 0 for the side that is not held.
    std::int64_t Available(std::int32_t heldSide) const;

    std::int64_t LongFrozen() const { return std::min(LongQty(), workingSell); }
    std::int64_t ShortFrozen() const { return std::min(ShortQty(), workingBuy); }
};

// What an order for the quantity has to hold back for the part that opens or enlarges the position,
// given what other orders already would close. `priceE10` is what it may have to pay.
Frozen NeedOf(bool buy, std::int32_t quantity, const Position& position, std::int64_t priceE10);

// Of a fill, rounded up.
std::int64_t CommissionE6(const Position& position, std::int64_t priceE10, std::int64_t quantity);

} // namespace halvane::paper
