#pragma once

#include "foundation/support/Text.h"

#include <cstdint>

namespace halvane::paper {

class Account;
class Book;

// What a client asks for, as "NAME=value" with "&" between; the first of two equal names counts,
// unknown names do not.
//   ACTIONTYPE=1: VOLUME of SYMBOLA, held on SIDEA, and of SYMBOLB, held on SIDEB, become part of
//     the combination of these legs, sides, OPTCOMB_CODE and OPTCOMB_ID; without an id, of the
//     oldest that fits otherwise, or of a new one with an id of the platform's own.
//   ACTIONTYPE=2: VOLUME of the oldest combination in SYMBOL (combined) that has as much and is of
//     that SIDE (of the first leg), OPTCOMB_CODE and OPTCOMB_ID, where they are given, is split.
struct CombinationCommand {
    explicit CombinationCommand(TextView command);

    Text action;
    Text symbolA, symbolB, symbol; // the last one is the combined one of the two
    Text side, sideB, code, id, volume;

    bool Combines() const { return action == L"1"; }
    bool Separates() const { return action == L"2"; }
    std::int32_t Quantity() const; // 0: none that can be used
};

// Both change the account and tell whether they could. Separating puts into the command what it has
// found.
bool Combine(Account& account, const CombinationCommand& command, const Book* first,
             const Book* second, const Text& newId);
bool Separate(Account& account, CombinationCommand& command);

// Ends the combinations in a contract that is gone.
void Dissolve(Account& account, const Book& book);

} // namespace halvane::paper
