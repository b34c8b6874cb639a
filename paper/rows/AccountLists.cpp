#include "paper/rows/AccountLists.h"

#include "paper/accounts/Account.h"
#include "paper/market/MarketClock.h"
#include "paper/rows/AccountItems.h"
#include "paper/rows/CombinationItems.h"
#include "tradeapi/TradeApi.h"

namespace halvane::paper {
namespace {

std::size_t CountPositions(const Account& account) { return account.Held().size(); }
std::size_t CountMargins(const Account&) { return 1; } // there is one currency
std::size_t CountCombinations(const Account& account) { return account.Combinations().held.size(); }
std::size_t CountActions(const Account& account) { return account.Combinations().actions.size(); }

void PutPositionRow(PaperItem& item, const Account& account, std::size_t row,
                    const RowSetting& setting) {
    PutPosition(item, account, *account.Held()[row], setting.currency);
}

void PutMarginRow(PaperItem& item, const Account& account, std::size_t, const RowSetting& setting) {
    PutMargin(item, account, setting.currency, setting.clock.Now());
}

void PutCombinationRow(PaperItem& item, const Account& account, std::size_t row,
                       const RowSetting& setting) {
    PutCombination(item, account, account.Combinations().held[row], setting.currency);
}

void PutActionRow(PaperItem& item, const Account& account, std::size_t row, const RowSetting&) {
    PutCombinationAction(item, account, account.Combinations().actions[row]);
}

// clang-format off
constexpr AccountList kAccountLists[] = {
    {kPositions,         CountPositions,    PutPositionRow},
    {kMargins,           CountMargins,      PutMarginRow},
    {kDetailPositions,   CountCombinations, PutCombinationRow},
    {kCombinationOrders, CountActions,      PutActionRow},
};
// clang-format on

} // namespace

std::span<const AccountList> AccountLists() { return kAccountLists; }

bool PutAccountRow(PaperItem& item, std::int32_t kind, const Account& account, std::size_t row,
                   const RowSetting& setting) {
    for (const AccountList& list : kAccountLists) {
        if (list.kind != kind) continue;
        if (row >= list.count(account)) return false;
        list.put(item, account, row, setting);
        return true;
    }
    return false;
}

} // namespace halvane::paper
