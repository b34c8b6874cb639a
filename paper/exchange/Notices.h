#pragma once

#include "paper/orders/Order.h"

#include <variant>

namespace halvane::paper {

class Account;
class Book;

// What has happened, for those who tell it on. Orders and fills live as long as the exchange.
struct ReportNotice {
    const Order* order;
    OrderState state;
};
struct FillNotice {
    const Fill* fill;
};
struct CountsNotice {
    const Account* account;
    std::size_t positions;
};
struct CombinationNotice {
    const Account* account;
    std::size_t positions, combinations, actions;
};
struct ResetNotice {
    bool newDay; // the reports so far are those of the day before; otherwise they stay
};
struct ConnectionNotice {
    bool isUp;
};
struct ClearNotice {
    const Book* book; // whose contract has expired
};
using Notice = std::variant<ReportNotice, FillNotice, CountsNotice, CombinationNotice, ResetNotice,
                            ClearNotice, ConnectionNotice>;

} // namespace halvane::paper
