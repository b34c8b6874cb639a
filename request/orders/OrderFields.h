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
    PriceReset,  // by order type: a market order (1) sends price and stop price "0", a stop order
                // (3) the price, whatever the client gave; `id` is the price, `second` the stop
                // price
};

struct OrderField {
    const wchar_t* member;
    Put put;
    std::int32_t id;
    std::int32_t second = 0;
};

// Puts every row of the table, in order.
void PutOrderFields(OrderParameters& parameters, std::span<const OrderField> fields,
                    const JsonValue& param);

// One kind of new order: what the platform calls it, its parameters' class and table.
struct OrderKind {
    std::int32_t kind;
    ItemClass parameters;
    std::span<const OrderField> fields;
};

OrderKind StockOrderKind();
OrderKind FutOptOrderKind();

} // namespace halvane
