#pragma once

#include "foundation/support/Text.h"

#include <cstdint>
#include <optional>
#include <utility>

namespace halvane::paper {

class Book;
struct Order;
struct Terms;
struct Ticket;

// A spread is two contracts that trade together, one for one: both or neither. The order's side is
// that of its first leg; the second goes the other way unless it is told to go the same. The price
// is the net price: the first leg's, less the second's, or and the second's when both go the same
// way; it may be 0 or below. The background serves spreads at its quotes of the two legs, as much
// as it has of both; spreads do not meet other orders and leave the last prices alone. Margins are
// those of the two legs.

// Does the ticket ask for two contracts?
bool IsSpread(const Ticket& ticket);

// The symbols of the legs: of a combined symbol, or of two symbols that were given apart or with
// "&" between. Nothing for what does not make a combined symbol: legs of two exchanges, stocks, one
// contract twice, an option before a future.
std::optional<std::pair<Text, Text>> LegsOf(const Ticket& ticket);
bool MakeSpread(TextView legA, TextView legB);

// The side of the second leg; nothing when the legs' sides do not fit the ticket's.
std::optional<std::int32_t> SecondSide(const Ticket& ticket);

// What the net price must keep to. Nothing when the contracts are of different size.
std::optional<Terms> TermsOfSpread(const Book& first, const Book& second, bool sameWay);

// What the background would trade with the order now.
struct SpreadMatch {
    std::int64_t firstE10, secondE10, netE10;
    std::int32_t quantity;
};
std::optional<SpreadMatch> MatchSpread(const Order& order);

} // namespace halvane::paper
