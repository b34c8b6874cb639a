#pragma once

#include "foundation/support/Text.h"

#include <cstdint>
#include <span>

namespace halvane {
class PaperItem;
}

namespace halvane::paper {

class Account;
class MarketClock;

// What rows say besides what the account knows.
struct RowSetting {
    const Text& currency;
    const MarketClock& clock;
};

// A list that every account has: its kind (a DataKind), how many rows, and how one of them fills an
// empty item.
struct AccountList {
    std::int32_t kind;
    std::size_t (*count)(const Account& account);
    void (*put)(PaperItem& item, const Account& account, std::size_t row,
                const RowSetting& setting);
};

// In the order in which their counts are told.
std::span<const AccountList> AccountLists();

// False when there is no such list or row.
bool PutAccountRow(PaperItem& item, std::int32_t kind, const Account& account, std::size_t row,
                   const RowSetting& setting);

} // namespace halvane::paper
