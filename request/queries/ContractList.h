#pragma once

#include "foundation/support/Json.h"

namespace halvane {

class TradeApi;

// A contract list is a JSON document that the platform writes into a file: nodes within nodes, the
// innermost of which hold arrays of symbols.

// Reads the file as one text, with the symbols' short prefix "I." spelt "OV.". False when the file
// cannot be opened.
[[nodiscard]] bool ReadContractListFile(const Text& path, Text& text);

// Adds what the platform knows of its contracts to every element below `value` that holds some.
// Level 1 is the root, 2 its array of nodes; below level 5 nothing is looked at. False when
// something that should be an array of nodes is none; what came before it has been enriched.
bool EnrichNode(JsonValue& value, JsonDocument::AllocatorType& allocator, int level,
                TradeApi& tradeApi);

// Adds the members "InstrumentID", "ExpirationDate" and "TradeingDays" to an element with
// contracts; none at all when one of these is a stock.
void EnrichContracts(JsonValue& element, JsonDocument::AllocatorType& allocator,
                     TradeApi& tradeApi);

} // namespace halvane
