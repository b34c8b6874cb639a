#pragma once

#include "paper/orders/Order.h"

#include <cstdint>
#include <optional>

namespace halvane::paper {

class Account;
class Book;

// An order before it is taken; what cannot be found stays null.
struct Draft {
    Ticket ticket{};
    Account* account = nullptr;
    Book* book = nullptr;
    std::optional<Leg> second{};
    Terms terms{};
    TicketPrices prices{};
    std::int32_t slice = 0;
};

} // namespace halvane::paper
