#include "request/orders/OrderFields.h"

namespace halvane {
namespace {

// clang-format off
constexpr OrderField kFutOptOrder[] = {
    {L"Account",           Put::Str,         2},
    {L"BrokerID",          Put::Str,         1},
    {L"Symbol",            Put::Str,         3},
    {L"SymbolA",           Put::Str,        27},
    {L"SymbolB",           Put::Str,        28},
    {L"Exchange",          Put::Str,        29},
    {L"Security",          Put::Str,        30},
    {L"Security2",         Put::Str,        31},
    {L"Month",             Put::Str,        32},
    {L"Month2",            Put::Str,        33},
    {L"CallPut",           Put::Str,        34},
    {L"CallPut2",          Put::Str,        35},
    {L"ContingentSymbol",  Put::Str,        39},
    {L"GroupID",           Put::Str,        20},
    {L"ExtCommands",       Put::ExtCommands, 22},
    {L"UserKey1",          Put::Str,        24},
    {L"UserKey2",          Put::UserKeys,   25},
    {L"",                  Put::Source,     26},
    {L"Strategy",          Put::Str,        23},
    {L"ChasePrice",        Put::ChasePrice, 21},
    {L"Price",             Put::Price,       4},
    {L"StopPrice",         Put::Price,       7},
    {L"TouchPrice",        Put::Price,      13},
    {L"Breakeven",         Put::Price,      54},
    {L"BreakevenOffset",   Put::Price,      55},
    {L"OrderType",         Put::PriceReset,  4},
    {L"OrderType",         Put::StopReset,   7},
    {L"GrpAcctOrdType",    Put::Int,        53},
    {L"SpreadType",        Put::Int,        49},
    {L"Side",              Put::Int,         5},
    {L"Side1",             Put::Int,        38},
    {L"Side2",             Put::Int,         6},
    {L"TimeInForce",       Put::Int,         8},
    {L"OrderType",         Put::Int,         9},
    {L"TrailingField",     Put::Int,        10},
    {L"TrailingType",      Put::Int,        11},
    {L"TouchField",        Put::Int,        14},
    {L"TouchCondition",    Put::Int,        15},
    {L"OrderQty",          Put::Int,        16},
    {L"PositionEffect",    Put::Int,        17},
    {L"DayTrade",          Put::Int,        50},
    {L"Synthetic",         Put::Int,        18},
    {L"GroupType",         Put::Int,        19},
    {L"SlicedType",        Put::Int,        44},
    {L"DiscloseQty",       Put::Int,        40},
    {L"Variance",          Put::Int,        41},
    {L"Interval",          Put::Int,        42},
    {L"LeftoverAction",    Put::Int,        43},
    {L"SlicedPriceField",  Put::Int,        51},
    {L"SlicedTicks",       Put::Int,        52},
    {L"Threshold",         Put::Int,        45},
    {L"Consecutive",       Put::Int,        46},
    {L"NumberOfRetries",   Put::Int,        47},
    {L"RetryInterval",     Put::Int,        48},
    {L"StrikePrice",       Put::Int64,      36}, // not scaled
    {L"StrikePrice2",      Put::Int64,      37}, // not scaled
    {L"TrailingAmount",    Put::Int64,      12},
};
// clang-format on
static_assert(std::size(kFutOptOrder) == 55 + 2); // the resets put properties a second time

} // namespace

OrderKind FutOptOrderKind() { return {L"NEWORDER 9", 9, ItemClass::FutOptOrder, kFutOptOrder}; }

} // namespace halvane
