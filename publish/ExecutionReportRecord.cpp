#include "publish/ExecutionReportRecord.h"

namespace halvane {
namespace {

// clang-format off
constexpr Field kExecutionReport[] = {
    // key                      source                       published            restored
    {L"ReportID",               Str(5)},
    {L"Account",                Str(6)},
    {L"BrokerID",               Str(7)},
    {L"Symbol",                 Str(43)},
    {L"Side",                   Int(17),                     Write::Long,         Write::RawLong},
    {L"OrderID",                Str(42)},
    {L"OriginalQty",            Int(19),                     Write::Long,         Write::RawLong},
    {L"OrderQty",               Int(20),                     Write::Long,         Write::RawLong},
    {L"Price",                  Int64(21),                   Write::Price,        Write::SixDecimals},
    {L"StopPrice",              Int64(22),                   Write::Price,        Write::SixDecimals},
    {L"OrderType",              Int(23),                     Write::Long,         Write::RawLong},
    {L"TradeType",              Int(24),                     Write::Long,         Write::RawLong},
    {L"ExCode",                 Int(48),                     Write::Long,         Write::RawLong},
    {L"PositionEffect",         Int(25),                     Write::Long,         Write::RawLong},
    {L"DayTrade",               Int(59),                     Write::Long,         Write::RawLong},
    {L"TimeInForce",            Int(26),                     Write::Long,         Write::RawLong},
    {L"TrailingAmount",         Str(49)},
    {L"TouchCondition",         Str(50)},
    {L"Group",                  Str(51)},
    {L"UserKey1",               UserKeys(28, 29)},           // several members
    {L"Strategy",               Str(27),                     Write::AsIs,         Write::Absent},
    {L"CumQty",                 Int(31),                     Write::Long,         Write::RawLong},
    {L"LeavesQty",              Int(32),                     Write::Long,         Write::RawLong},
    {L"ExecType",               Int(33),                     Write::Long,         Write::RawLong},
    {L"ErrorCode",              Int(57),                     Write::Long,         Write::RawLong},
    {L"TriggeredPrice",         Int64(56),                   Write::Price,        Write::SixDecimals},
    {L"TransactDate",           Int(34),                     Write::Long,         Write::RawLong},
    {L"TransactTime",           Int(35),                     Write::Long,         Write::RawLong},
    {L"AvgPrice",               Int64(36),                   Write::AveragePrice, Write::SixDecimals},
    {L"ExecTypeText",           Str(37)},
    {L"FilledOrdersCount",      Int(39),                     Write::Long,         Write::RawLong},
    {L"IsRestoreData",          Int(52),                     Write::Long,         Write::RawLong},
    {L"HedgeFlag",              Named()},
    {L"OrgSource",              Str(60)},
    {L"TradeDate",              Int(58),                     Write::Long,         Write::RawLong},
    {L"SetPRIADJ",              Named()},
    {L"RecFillQty",             Named(),                     Write::AsIs,         Write::Absent},
    {L"DelayTransPosition",     Named(),                     Write::AsIs,         Write::Absent},
    {L"SlicedType",             Named(),                     Write::AsIs,         Write::Absent},
    {L"SliceID",                Named(),                     Write::AsIs,         Write::Absent},
    {L"ExecHis",                Str(61),                     Write::AsIs,         Write::Absent},
    {L"QryIndex",               Given(&RowTexts::qryIndex),  Write::Absent,       Write::AsIs},
};
// clang-format on
static_assert(std::size(kExecutionReport) == 42 && Fits(kExecutionReport));

} // namespace

std::span<const Field> ExecutionReportFields() { return kExecutionReport; }

} // namespace halvane
