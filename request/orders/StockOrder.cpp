#include "request/orders/OrderFields.h"

namespace halvane {
namespace {

// clang-format off
constexpr OrderField kStockOrder[] = {
    {L"Account",           Put::Str,         2},
    {L"BrokerID",          Put::Str,         1},
    {L"Symbol",            Put::Str,        17},
    {L"Side",              Put::Int,         7},
    {L"ContingentSymbol",  Put::Str,        30},
    {L"ExtCommands",       Put::Str,        12},
    {L"GroupID",           Put::Str,        21},
    {L"UserKey1",          Put::Str,        14},
    {L"UserKey2",          Put::UserKeys,   15},
    {L"",                  Put::Source,     16},
    {L"ChasePrice",        Put::ChasePrice, 29},
    {L"Price",             Put::Price,       6},
    {L"StopPrice",         Put::Price,       8},
    {L"TouchPrice",        Put::Price,      26},
    {L"OrderType",         Put::PriceReset,  6},
    {L"OrderType",         Put::StopReset,   8},
    {L"OrderType",         Put::Int,        10},
    {L"TimeInForce",       Put::Int,         9},
    {L"TradeType",         Put::Int,        18},
    {L"ExCode",            Put::Int,        19},
    {L"OrderQty",          Put::Int,        11},
    {L"TrailingField",     Put::Int,        23},
    {L"TrailingType",      Put::Int,        24},
    {L"TrailingAmount",    Put::Int64,      25},
    {L"Synthetic",         Put::Int,        22},
    {L"TouchField",        Put::Int,        27},
    {L"TouchCondition",    Put::Int,        28},
};
// clang-format on
static_assert(std::size(kStockOrder) == 25 + 2); // the resets put properties a second time

} // namespace

OrderKind StockOrderKind() { return {L"NEWORDER 8", 8, ItemClass::StockOrder, kStockOrder}; }

} // namespace halvane
