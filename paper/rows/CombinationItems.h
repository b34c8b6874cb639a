#pragma once

#include "foundation/support/Text.h"

namespace halvane {
class PaperItem;
}

namespace halvane::paper {

class Account;
struct Combination;
struct CombinationAction;

// Combinations and the orders for them as the platform's items show them: each fills an empty item.

// As a detail position; its margin is its part in the margins of the legs' positions.
void PutCombination(PaperItem& item, const Account& account, const Combination& combination,
                    const Text& currency);

void PutCombinationAction(PaperItem& item, const Account& account, const CombinationAction& action);

} // namespace halvane::paper
