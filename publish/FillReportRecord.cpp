#include "publish/FillReportRecord.h"

namespace halvane {
namespace {

// clang-format off
constexpr Field kFillReport[] = {
    // key              source                       published             restored
    {L"ReportID",       Str(6)},
    {L"Account",        Str(2)},
    {L"BrokerID",       Str(4)},
    {L"Symbol",         Str(28)},
    {L"Side",           Int(18)},
    {L"OrderID",        Str(13)},
    {L"MatchedPrice",   Int64(15),                   Write::AveragePrice},
    {L"MatchedQty",     Int(16),                     Write::RawLong},      // no mark for a missing value
    {L"PositionEffect", Int(17)},
    {L"TransactDate",   Int(20)},
    {L"TransactTime",   Int(21)},
    {L"UserKey1",       UserKeys(23, 24)},           // several members
    {L"QryIndex",       Given(&RowTexts::qryIndex),  Write::Absent,        Write::AsIs},
};
// clang-format on
static_assert(std::size(kFillReport) == 13 && Fits(kFillReport));

} // namespace

std::span<const Field> FillReportFields() { return kFillReport; }

} // namespace halvane
