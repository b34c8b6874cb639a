#pragma once

#include "paper/exchange/Draft.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>

namespace halvane::paper {

// All orders and their fills, found by the identities that it gives them. They stay where they are
// as long as the registry lives, orders that are done as well.
class OrderRegistry {
  public:
    OrderRegistry();

    // No identity comes a second time, not in another run either.
    Text NextId(const wchar_t* kind);
    // A place in the queue behind all that were given before.
    std::uint64_t NextPlace() { return ++lastPlace_; }

    Order& Enter(Draft draft, std::int32_t tradeDate);
    // A fill of the order in one of its books.
    const Fill& Add(Order& order, const Book& book, std::int32_t side, std::int64_t priceE10,
                    std::int32_t quantity, Stamp stamp);

    // Null when there is none.
    Order* FindOrder(TextView reportId) const;
    const Fill* FindFill(TextView fillId) const;

    std::deque<Order>& Orders() { return orders_; }

  private:
    Text idStem_; // of this run, from the moment at which it began
    std::uint64_t lastId_ = 0;
    std::uint64_t lastPlace_ = 0;
    std::deque<Order> orders_;
    std::deque<Fill> fills_;
    std::map<Text, Order*, std::less<>> byReportId_;
    std::map<Text, const Fill*, std::less<>> byFillId_;
};

} // namespace halvane::paper
