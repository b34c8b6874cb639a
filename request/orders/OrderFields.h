#pragma once

#include "foundation/support/Json.h"
#include "tradeapi/Items.h"

#include <span>

namespace halvane {

// How one member of "Param" becomes a property of the platform's parameters object. Members that
// are missing or no strings read as "", so as 0 where a number is wanted.
enum class Put : std::uint8_t {
    Str,         // text, as it stands
    Int,         // 32-bit integer
    Int64,       // 64-bit integer
    Price,       // text, rewritten to units of 1e-10
    ChasePrice,  // text, rewritten; not put at all when empty
    ScaledPrice, // 64-bit integer in units of 1e-10; not put at all when it is no plain number
    UserKeys,    // text: the member, or all of "UserKey2" to "UserKey100" packed into one
    Source,      // text: the name of this gateway, no member
    ExtCommands, // text: the member with the execution switches appended
    PriceReset,  // text: "0" as the price of a market order (1) or a stop order (3), whatever the
                 // client gave; not put for others
    StopReset,   // text: "0" as the stop price of a market order, the same
};

struct OrderField {
    TextView member;
    Put put;
    std::int32_t id;
};

// Puts every row of the table, in order. A put that the platform refuses is logged under the
// order's name, and the next row follows: whether such an order is taken is for the platform to
// say.
void PutOrderFields(TextView order, OrderParameters& parameters, std::span<const OrderField> fields,
                    const JsonValue& param);

// One kind of new order: its name in the log, what the platform calls it, its parameters' class and
// table.
struct OrderKind {
    TextView name;
    std::int32_t kind;
    ItemClass parameters;
    std::span<const OrderField> fields;
};

OrderKind StockOrderKind();
OrderKind FutOptOrderKind();

} // namespace halvane
