#pragma once

#include "foundation/support/Text.h"

#include <utility>

namespace halvane {

// A symbol identifier is text of parts with points between: "OV", the type (S stock, F future,
// O option, O2, F2 and FO spreads), the exchange, and the contract. A combined symbol names two
// legs: the first leg's identifier with the spread's type, "^", and the second leg's contract.

TextView SymbolType(TextView symbol);
TextView SymbolExchange(TextView symbol);

// The two full identifiers that a combined symbol stands for; both empty for an empty one.
std::pair<Text, Text> SplitCombinedSymbol(TextView combined);

// The combined symbol of two legs; empty when a leg is.
Text CombineSymbols(TextView legA, TextView legB);

} // namespace halvane
