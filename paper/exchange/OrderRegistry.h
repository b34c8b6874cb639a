#pragma once

#include "paper/exchange/Draft.h"

#include <cstdint>
#include <deque>

namespace halvane::paper {

// All orders and their fills, found by the identities that it gives them. They stay where they are
// as long as the registry lives, orders that are done as well.
class OrderRegistry {
  public:
    OrderRegistry();

    // For what has no fills or reports here.
    Text NextId(wchar_t kind) { return identities_.TextOf(kind, identities_.Next()); }
    // A place in the queue behind all that were given before.
    std::uint64_t NextPlace() { return ++lastPlace_; }

    Order& Enter(const Draft& draft, std::int32_t tradeDate);
    // A fill of the order in one of its books.
    const Fill& Add(Order& order, const Book& book, std::int32_t side, std::int64_t priceE10,
                    std::int32_t quantity, Stamp stamp);

    // Null when there is none.
    Order* FindOrder(TextView reportId);
    const Fill* FindFill(TextView fillId) const;

    std::deque<Order>& Orders() { return orders_; }

  private:
    Identities identities_;
    std::uint64_t lastPlace_ = 0;
    std::deque<Order> orders_; // by number, as they came, and so are the fills
    std::deque<Fill> fills_;
};

} // namespace halvane::paper
