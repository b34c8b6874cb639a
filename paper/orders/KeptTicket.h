#pragma once

#include "paper/orders/Ticket.h"

#include <cstdint>
#include <string>

namespace halvane::paper {

// What an order keeps of its ticket for its reports. Orders are remembered until the end, so that
// it takes as little room as it can.
struct KeptTicket {
    explicit KeptTicket(const Ticket& ticket);

    // A text of the ticket: combined symbol, group, user keys, source, strategy, commands. Others
    // are not kept; "" where none was given.
    Text Get(Text Ticket::*text) const;

    std::int32_t side, orderType, timeInForce, quantity;
    std::int32_t tradeType, exCode, positionEffect, dayTrade;
    std::int32_t touchCondition, slicedType;
    std::int64_t trailingAmount;

  private:
    std::u16string texts_; // those that were given: which it is, its length in two, itself
};

} // namespace halvane::paper
