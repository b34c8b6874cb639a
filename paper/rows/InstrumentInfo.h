#pragma once

#include "foundation/support/Text.h"

#include <cstdint>

namespace halvane::paper {

class Book;

// What the platform tells of one instrument besides its orders.

// All there is, as a JSON object whose members are texts.
Text InstrumentJson(const Book& book);

// "yyyymmdd", "" for what does not expire.
Text ExpirationText(const Book& book);

// Trading days until `expiration` (yyyymmdd), or until the instrument's own when that is no day.
std::int32_t TradingDaysLeft(const Book& book, std::int32_t expiration);

} // namespace halvane::paper
