#pragma once

#include "tradeapi/Fields.h"

namespace halvane {

class TradeApi;

// The accounts that the logged-in user may trade: published when the platform tells of them, and
// restored for the request of the same name.
//
// Writes one record for every account into the array that is open; `item` is of class Account.
// False when the platform refused one: those before it are written.
[[nodiscard]] bool WriteAccounts(JsonWriter& out, Form form, TradeApi& tradeApi, Item& item);

} // namespace halvane
