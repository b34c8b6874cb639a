#include "paper/accounts/Combinations.h"
#include "paper/base/Codes.h"
#include "paper/exchange/Exchange.h"

namespace halvane::paper {

void Exchange::ActOnCombination(TextView mask, TextView text) {
    Account* account = AccountOf(mask);
    if (account == nullptr) return;
    CombinationCommand command(text);
    const Text orderId = registry_.NextId(Identities::kOrder);
    const bool done = command.Combines() ? CombineIn(*account, command, orderId)
                                         : command.Separates() && Separate(*account, command);
    account->Combinations().actions.push_back(
        {.orderId = orderId,
         .filledId = done ? registry_.NextId(Identities::kFill) : Text(),
         .symbol = command.symbol,
         .quantity = command.volume,
         .code = command.code,
         .side = command.side,
         .combSide = command.action,
         .execType = done ? kFilled : kRejected});
    notices_.emplace_back(CombinationNotice{.account = account,
                                            .positions = account->Held().size(),
                                            .combinations = account->Combinations().held.size(),
                                            .actions = account->Combinations().actions.size()});
}

bool Exchange::CombineIn(Account& account, const CombinationCommand& command, const Text& newId) {
    const Book* first = FindBook(command.symbolA);
    const Book* second = FindBook(command.symbolB);
    for (const Book* book : {first, second}) {
        if (book != nullptr && hours_.HasExpired(*book)) return false;
    }
    return Combine(account, command, first, second, newId);
}

} // namespace halvane::paper
