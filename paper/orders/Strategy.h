#pragma once

#include "foundation/support/Text.h"
#include "paper/orders/Ticket.h"

#include <cstdint>
#include <optional>

namespace halvane::paper {

// A strategy order, which the platform works through ordinary orders; their reports name the
// strategy's type. It comes as a JSON object:
//   StrategyType   "SIMPLE": one order of the whole quantity.
//                  "ICEBERG": an order of which DiscloseQty is shown, see Slices in Ticket.h.
//   Account, BrokerID, Symbol, SymbolA, SymbolB, Side, Side1, Side2, OrderQty, OrderType,
//   TimeInForce, Price, StopPrice, PositionEffect, TradeType, ExCode, GroupID, ExtCommands,
//   UserKey1 ... UserKey100   as in a new order, but prices are plain decimals.
// Numbers may be texts; other members count for nothing.
struct Strategy {
    Ticket ticket;           // of the whole
    std::int32_t result = 0; // a ResultCode: is it known?
};

// Nothing when the text is no JSON object.
std::optional<Strategy> ReadStrategy(TextView json);

} // namespace halvane::paper
