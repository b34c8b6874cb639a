#pragma once

#include "foundation/support/Text.h"
#include "paper/base/Calendar.h"

namespace halvane {
class PaperItem;
}

namespace halvane::paper {

class Account;
struct AccountSetup;
struct MarketPlan;
struct Position;

// Accounts, their money and their positions as the platform's items show them: each fills an empty
// item. Amounts are in millionths in a margin item and in units of 1e-10 in a position item.

void PutAccount(PaperItem& item, const AccountSetup& account, const MarketPlan& plan);
void PutMargin(PaperItem& item, const Account& account, const Text& currency, Stamp now);
void PutPosition(PaperItem& item, const Account& account, const Position& position,
                 const Text& currency);

// Who an account belongs to, alike in margin and position items.
void PutOwner(PaperItem& item, const AccountSetup& account);

} // namespace halvane::paper
