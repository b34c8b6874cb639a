#include "publish/AccountRecord.h"

#include "foundation/support/JsonWriter.h"
#include "tradeapi/TradeApi.h"
#include "tradeapi/TradeData.h"

namespace halvane {
namespace {

// clang-format off
constexpr Field kAccount[] = {
    // key                source         published      restored
    {L"BrokerID",         Str(2)},
    {L"Account",          Str(3)},
    {L"UserName",         Str(4)},
    {L"AccountMask",      Joined(2, 3)},
    {L"AccountName",      Str(5)},
    {L"BrokerName",       Str(6)},
    {L"Status",           Int(7),        Write::Long,   Write::RawLong},
    {L"AccountType",      Str(8)},
    {L"OrderExchange",    Str(12)},
    {L"Level",            Named()},
    {L"AccountReleated",  Named()},                     // spelt so on the wire and by the platform
    {L"Region",           Named()},
};
// clang-format on
static_assert(std::size(kAccount) == 12 && Fits(kAccount));

} // namespace

bool WriteAccounts(JsonWriter& out, Form form, TradeApi& tradeApi, Item& item) {
    const std::int32_t count = RowCount(kAccounts, L"").value_or(0);
    for (std::int32_t index = 0; index < count; ++index) {
        if (tradeApi.GetDataItem(kAccounts, index, L"", item) == 0) return false;
        out.BeginObject();
        WriteRecord(out, kAccount, form, item);
        out.EndObject();
    }
    return true;
}

} // namespace halvane
