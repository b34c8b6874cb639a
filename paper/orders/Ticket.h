#pragma once

#include "paper/market/Instrument.h"
#include "tradeapi/Items.h"

#include <cstdint>
#include <optional>

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
    std::int32_t touchField = 0, touchCondition = 0, trailingField = 0, trailingType = 0;
    std::int32_t tradeType = kNoInt, exCode = kNoInt;        // stock orders
    std::int32_t positionEffect = kNoInt, dayTrade = kNoInt; // the others
    std::int32_t slicedType = 0, discloseQty = 0;
    std::int64_t trailingAmount = 0;
    bool asksForMore = false; // something that the paper platform does not know

    bool CarriesLimit() const;
    bool CarriesStop() const;
    bool Trails() const { return trailingAmount != 0; }
};

// What an order waits for before it trades: that a price reaches its stop or touch price. A stop
// price that trails follows at a distance, as long as that brings it closer.
struct Trigger {
    std::int32_t field;               // a PriceField
    bool upward;                      // reached from below
    std::int64_t touchE10 = kNoInt64; // kNoInt64: the stop price counts
    std::int64_t trailE10 = 0;        // 0: it stands still
};

// What a client asks for with a replacement. The new quantity counts what is filled already; 0 and
// prices that were not put leave as it is.
struct Replacement {
    Text reportId;
    std::int32_t quantity = 0;
    std::optional<std::int64_t> priceE10{}, stopE10{};
};

// The prices of a ticket as numbers, kNoInt64 where the order type has none.
struct TicketPrices {
    std::int64_t limitE10 = kNoInt64;
    std::int64_t stopE10 = kNoInt64; // also of one that trails from wherever the price stands
    std::optional<Trigger> trigger{};
};

// What an order must keep to in an instrument, or in the two of a spread.
struct Terms {
    InstrumentKind kind;
    std::int64_t tickE10;
    std::int64_t lowerE10, upperE10; // price limits of the day
    std::int32_t maxQuantity;
    bool net; // the price is a spread's: any sign, and it waits for no other
};

Terms TermsOf(const Instrument& instrument);

// What can be said of a ticket without looking at the market or the account: a ResultCode.
std::int32_t CheckTicket(const Ticket& ticket, const Terms& terms, TicketPrices& prices);

// A ResultCode for a price that an order shall carry.
std::int32_t CheckPrice(std::int64_t priceE10, const Terms& terms);

// Slices: a day order with a limit of which a part is shown; whenever it is filled, the next part
// goes out at the price that the last one had, at the end of the queue. Cancelling the part that
// works ends the whole. At most so many parts.
inline constexpr std::int32_t kMostParts = 100;

// What is shown of the ticket's quantity at a time; all of it unless it is sliced.
std::int32_t ShownQuantity(const Ticket& ticket);

} // namespace halvane::paper
