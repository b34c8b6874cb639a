#include "paper/rows/CombinationItems.h"

#include "foundation/support/Numbers.h"
#include "paper/accounts/Account.h"
#include "paper/accounts/CombinationRows.h"
#include "paper/base/Codes.h"
#include "paper/base/PaperItem.h"
#include "paper/base/Units.h"
#include "paper/orders/Book.h"
#include "paper/rows/AccountItems.h"
#include "tradeapi/PropertyIds.h"
#include "tradeapi/Symbols.h"

#include <cstdlib>

namespace halvane::paper {
namespace {

std::int64_t MarginOfPartE6(const Account& account, const Book& book, std::int32_t quantity) {
    const auto found = account.Positions().find(&book);
    if (found == account.Positions().end() || found->second.net == 0) return 0;
    return Share(found->second.MarginE6(), quantity, std::abs(found->second.net));
}

} // namespace

void PutCombination(PaperItem& item, const Account& account, const Combination& combination,
                    const Text& currency) {
    const std::int32_t quantity = combination.quantity;
    const std::int32_t longLegs =
        (combination.side == kBuy ? 1 : 0) + (combination.secondSide == kBuy ? 1 : 0);
    PutOwner(item, account.Setup());
    item.Put(position_id::kTransactDate, combination.stamp.date);
    item.Put(position_id::kTransactTime, combination.stamp.time);
    item.Put(position_id::kSecurityType, Text(SymbolType(combination.symbol)));
    item.Put(position_id::kSymbol, combination.symbol);
    item.Put(position_id::kSymbolA, combination.first->TheInstrument().symbol);
    item.Put(position_id::kSymbolB, combination.second->TheInstrument().symbol);
    item.Put(position_id::kSide, combination.side);
    item.Put(position_id::kSide1, combination.side);
    item.Put(position_id::kSide2, combination.secondSide);
    item.Put(position_id::kQuantity, quantity);
    item.Put(position_id::kUsedMargin,
             AmountE10(MarginOfPartE6(account, *combination.first, quantity) +
                       MarginOfPartE6(account, *combination.second, quantity)));
    item.Put(position_id::kCurrencyToSystem, currency);
    item.PutNamed(L"OptCombCode", combination.code);
    item.PutNamed(L"OptCombID", combination.id);
    item.PutNamed(L"SpreadType", 0);
    item.PutNamed(L"CombLongPosition", longLegs * quantity);
    item.PutNamed(L"CombShortPosition", (2 - longLegs) * quantity);
}

void PutCombinationAction(PaperItem& item, const Account& account,
                          const CombinationAction& action) {
    item.PutNamed(L"Account", account.Setup().account);
    item.PutNamed(L"BrokerID", account.Setup().brokerId);
    item.PutNamed(L"OrderID", action.orderId);
    item.PutNamed(L"FilledID", action.filledId);
    item.PutNamed(L"Symbol", action.symbol);
    item.PutNamed(L"Quantity", action.quantity);
    item.PutNamed(L"OptCombCode", action.code);
    item.PutNamed(L"Side", action.side);
    item.PutNamed(L"CombSide", action.combSide);
    item.PutNamed(L"ExecType", action.execType);
}

} // namespace halvane::paper
