#pragma once

#include "tradeapi/Items.h"
#include "tradeapi/paper/Market.h"

#include <cstdint>

namespace halvane {
class PaperParameters;
}

namespace halvane::paper {

// What a client asks for with a new order, as it was put into the parameters object. Texts that
// were not put are "", numbers 0; what the order's kind does not know at all is kNoInt.
struct Ticket {
    std::int32_t kind = 0;
    Text brokerId, account, symbol, symbolA, symbolB;
    Text price, stopPrice, touchPrice, chasePrice;
    Text extCommands, group, userKey1, userKey2, source, strategy;
    std::int32_t side = 0, orderType = 0, timeInForce = 0, quantity = 0;
    std::int32_t side1 = 0, side2 = 0; // of a spread's legs, 0 where the order's side says it
    std::int32_t touchCondition = 0;
    std::int32_t tradeType = kNoInt, exCode = kNoInt;                             // stock orders
    std::int32_t positionEffect = kNoInt, dayTrade = kNoInt, slicedType = kNoInt; // the others
    std::int64_t trailingAmount = 0;

    bool NeedsLimit() const;
    bool NeedsStop() const;
};

// `kind` is one of OrderKind.
Ticket ReadTicket(std::int32_t kind, const PaperParameters& parameters);

// The prices of a ticket as numbers, kNoInt64 where the order type has none.
struct TicketPrices {
    std::int64_t limitE10 = kNoInt64;
    std::int64_t stopE10 = kNoInt64;
};

// What an order must keep to in an instrument, or in the two of a spread.
struct Terms {
    InstrumentKind kind;
    std::int64_t tickE10;
    std::int64_t lowerE10, upperE10; // price limits of the day
    std::int32_t maxQuantity;
    bool net; // the price is a spread's: any sign, no stop prices
};

Terms TermsOf(const Instrument& instrument);

// What can be said of a ticket without looking at the market or the account: a ResultCode.
std::int32_t CheckTicket(const Ticket& ticket, const Terms& terms, TicketPrices& prices);

// A ResultCode for a price that an order shall carry.
std::int32_t CheckPrice(std::int64_t priceE10, const Terms& terms);

// The value of `name` in a list "name=value;name=value"; "" when it is not there.
Text ExtCommand(const Ticket& ticket, TextView name);

} // namespace halvane::paper
