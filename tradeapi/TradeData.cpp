#include "tradeapi/TradeData.h"

#include "foundation/support/Numbers.h"
#include "foundation/support/Settings.h"
#include "tradeapi/TradeApi.h"

#include <atomic>

namespace halvane {
namespace {

std::atomic<bool> tradeDataReady = false;

// The settings' names of the counts; the account mask follows, but for the one list of accounts.
const wchar_t* CountName(std::int32_t kind) {
    switch (kind) {
    case kAccounts: return L"AccountCount";
    case kPositions: return L"RTPositionCount-";
    case kDetailPositions: return L"DetailPositionCount-";
    case kMargins: return L"RTMarginCount-";
    case kCombinationOrders: return L"CombinationOrderCount-";
    default: return nullptr;
    }
}

} // namespace

void StoreRowCount(std::int32_t kind, TextView accountMask, std::int32_t count) {
    if (const wchar_t* name = CountName(kind))
        SetSetting(Text(name).append(accountMask), DecimalText(count));
}

std::optional<std::int32_t> RowCount(std::int32_t kind, TextView accountMask) {
    const wchar_t* name = CountName(kind);
    if (name == nullptr) return std::nullopt;
    const Text count = GetSetting(Text(name).append(accountMask));
    if (count.empty()) return std::nullopt;
    return ToInt32(count);
}

void SetTradeDataReady() { tradeDataReady = true; }
bool IsTradeDataReady() { return tradeDataReady; }
void ForgetTradeData() { tradeDataReady = false; }

} // namespace halvane
