#pragma once

#include "tradeapi/paper/Order.h"

#include <algorithm>
#include <cstdint>

namespace halvane::paper {

class Book;

// What an account holds of one instrument: one net quantity, long above 0 and short below. All
// figures follow from the fills; everything since the start counts as today.
struct Position {
    const Book* book;
    std::int64_t net = 0;
    std::int64_t costE6 = 0; // of the net quantity, below 0 for a short one
    std::int64_t realisedE6 = 0;
    std::int64_t commissionE6 = 0;
    std::int64_t bought = 0, sold = 0, opened = 0, closed = 0;
    std::int64_t boughtE6 = 0, soldE6 = 0, openedE6 = 0, closedE6 = 0; // amounts of the above
    std::int64_t workingBuy = 0, workingSell = 0;
    Frozen frozen{};
    Stamp stamp{};     // of the last fill
    bool held = false; // since the first fill

    // Books the trade; the profit that closing part of the position has brought.
    std::int64_t Apply(bool buy, std::int64_t priceE10, std::int64_t quantity);

    std::int64_t ValueE6() const; // at the last price, below 0 when short
    std::int64_t OpenProfitE6() const { return ValueE6() - costE6; }

    // What must be there to hold the position. A long stock or option is paid for: nothing. Stocks
    // held short need their value and a share on top, options held short their value and a share of
    // the strike, futures a share of the contract's value.
    std::int64_t MarginE6() const;

    std::int64_t AveragePriceE10() const; // kNoInt64 when flat
    std::int64_t LongQty() const { return net > 0 ? net : 0; }
    std::int64_t ShortQty() const { return net < 0 ? -net : 0; }
    std::int64_t LongFrozen() const { return std::min(LongQty(), workingSell); }
    std::int64_t ShortFrozen() const { return std::min(ShortQty(), workingBuy); }
};

// The price per unit, in units of 1e-10, that `units` had for an amount; kNoInt64 without any.
std::int64_t PriceOfE10(std::int64_t amountE6, std::int64_t units);

// What an order has to hold back for the part that opens or enlarges the position, given what
// other orders already would close. `priceE10` is what it may have to pay.
Frozen NeedOf(const Order& order, const Position& position, std::int64_t priceE10);

std::int64_t CommissionE6(const Instrument& instrument, std::int64_t priceE10,
                          std::int64_t quantity);

} // namespace halvane::paper
