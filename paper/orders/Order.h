#pragma once

#include "paper/base/Calendar.h"
#include "paper/orders/Identities.h"
#include "paper/orders/KeptTicket.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace halvane::paper {

class Account;
class Book;
struct Fill;

// What changes during an order's life; a report is a copy of it.
struct OrderState {
    std::int32_t quantity;
    std::int32_t filled = 0;
    std::int32_t leaves;
    std::int64_t priceE10; // kNoInt64: at any price
    std::int64_t stopE10;  // kNoInt64: none
    std::int64_t triggeredE10 = kNoInt64;
    std::int64_t paidE6 = 0; // the fills' prices times their quantities
    std::int32_t execType = 0;
    std::int32_t errorCode = 0;
    Stamp stamp{};
    std::size_t fillCount = 0;
    std::string execTypes{}; // so far, a byte for each

    // Of the fills; kNoInt64 before the first.
    std::int64_t AveragePriceE10() const;
    // The execution types, with ";" between.
    Text History() const;
};

// What an order holds back of its account while it works.
struct Frozen {
    std::int64_t cashE6 = 0;
    std::int64_t marginE6 = 0;
    std::int64_t commissionE6 = 0;

    std::int64_t Total() const { return cashE6 + marginE6 + commissionE6; }
    Frozen& operator+=(const Frozen& other);
    Frozen& operator-=(const Frozen& other);
};

// The same for an order's instrument and for the second one of a spread.
struct Needs {
    Frozen first{}, second{};

    std::int64_t Total() const { return first.Total() + second.Total(); }
    bool Opens() const; // more than commission
};

// The second leg of a spread order; the first has the order's book and side.
struct Leg {
    Book& book;
    std::int32_t side;

    bool IsBuy() const;
};

// An order and its report, which bears one identity all its life. The first block never changes.
struct Order {
    const Identities& identities;
    std::uint64_t number; // of its report; the order itself has the next one
    KeptTicket ticket;    // its symbol is "" when it is that of the book
    std::int32_t tradeDate;
    Account& account;
    Book& book;
    std::optional<Leg> second; // of a spread
    Terms terms;

    OrderState state;
    std::vector<const Fill*> fills;
    Needs frozen;
    std::optional<Trigger> trigger; // that it waits for or has waited for
    std::int32_t slice = 0;         // the number of the part, from 1; 0: not sliced
    std::uint64_t place = 0;        // in the queue; the lower the earlier
    std::int64_t ahead = kUnknown;  // of the background at its price, before it in the queue
    bool waiting = false;           // for its trigger

    static constexpr std::int64_t kUnknown = -1; // the background has not been there since

    Text ReportId() const { return identities.TextOf(Identities::kReport, number); }
    Text OrderId() const { return identities.TextOf(Identities::kOrder, number + 1); }
    bool IsWorking() const { return state.leaves > 0; }
    bool IsBuy() const;
};

struct Fill {
    std::uint64_t number;
    const Order& order;
    const Book& book; // of the leg that it is of
    std::int32_t side;
    std::int64_t priceE10;
    std::int32_t quantity;
    Stamp stamp;

    Text FillId() const { return order.identities.TextOf(Identities::kFill, number); }
};

} // namespace halvane::paper
