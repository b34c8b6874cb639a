#pragma once

#include "foundation/support/Text.h"
#include "paper/base/Calendar.h"

#include <cstdint>
#include <vector>

namespace halvane::paper {

class Book;

// Positions in two contracts that an account has bound together. What is combined stays part of the
// positions and of their margins, but it cannot be closed before it is split again. A combination
// that was split whole keeps its row, as a position that was closed does.
struct Combination {
    Text symbol; // combined
    const Book* first;
    const Book* second;
    std::int32_t side, secondSide;
    Text code, id;
    std::int32_t quantity = 0;
    Stamp stamp{}; // of the last change

    bool Holds(const Book& book) const { return first == &book || second == &book; }
};

// An order to combine or to split, carried out whole or refused.
struct CombinationAction {
    Text orderId, filledId;            // the second one only when it was carried out
    Text symbol, quantity, code, side; // of the first leg
    Text combSide;                     // "1" combines, "2" splits
    std::int32_t execType;             // kFilled or kRejected
};

struct CombinationRows {
    std::vector<Combination> held;
    std::vector<CombinationAction> actions; // of the day
};

} // namespace halvane::paper
