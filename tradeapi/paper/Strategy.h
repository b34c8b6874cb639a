#pragma once

#include "foundation/support/Text.h"
#include "tradeapi/paper/Ticket.h"

#include <cstdint>
#include <optional>

namespace halvane::paper {

// A strategy order, which the platform works through ordinary orders; their reports name the
// strategy's type. It comes as a JSON object:
//   StrategyType   "SIMPLE": one order of the whole quantity.
//                  "ICEBERG": a limit order of which DiscloseQty is shown; whenever that part is
//                  filled, the next one goes out at the price that the last one had, at the end of
//                  the queue. Cancelling the part that works ends the strategy. At most 100 parts.
//   Account, BrokerID, Symbol, SymbolA, SymbolB, Side, Side1, Side2, OrderQty, OrderType,
//   TimeInForce, Price, StopPrice, PositionEffect, TradeType, ExCode, GroupID, ExtCommands,
//   UserKey1 ... UserKey100   as in a new order, but prices are plain decimals.
// Numbers may be texts; other members count for nothing.
struct Strategy {
    Ticket ticket;           // of the whole
    std::int32_t shown = 0;  // of each order; the whole quantity when it is not divided
    std::int32_t result = 0; // a ResultCode: what can be said without looking at the market
};

inline constexpr std::int32_t kMostParts = 100;

// Nothing when the text is no JSON object.
std::optional<Strategy> ReadStrategy(TextView json);

} // namespace halvane::paper
