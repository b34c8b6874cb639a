#include "paper/orders/Strategy.h"

#include "foundation/support/Json.h"
#include "foundation/support/Numbers.h"
#include "paper/base/Codes.h"
#include "paper/base/Units.h"
#include "tradeapi/Symbols.h"
#include "tradeapi/UserKeys.h"

#include <algorithm>

namespace halvane::paper {
namespace {

template <typename T> struct MemberRow {
    const wchar_t* name;
    T Ticket::*member;
};

// clang-format off
constexpr MemberRow<Text> kTexts[] = {
    {L"StrategyType",   &Ticket::strategy},
    {L"Account",        &Ticket::account},
    {L"BrokerID",       &Ticket::brokerId},
    {L"Symbol",         &Ticket::symbol},
    {L"SymbolA",        &Ticket::symbolA},
    {L"SymbolB",        &Ticket::symbolB},
    {L"GroupID",        &Ticket::group},
    {L"ExtCommands",    &Ticket::extCommands},
    {L"UserKey1",       &Ticket::userKey1},
};
constexpr MemberRow<Text> kPrices[] = {
    {L"Price",          &Ticket::price},
    {L"StopPrice",      &Ticket::stopPrice},
};
constexpr MemberRow<std::int32_t> kInts[] = {
    {L"Side",           &Ticket::side},
    {L"Side1",          &Ticket::side1},
    {L"Side2",          &Ticket::side2},
    {L"OrderQty",       &Ticket::quantity},
    {L"OrderType",      &Ticket::orderType},
    {L"TimeInForce",    &Ticket::timeInForce},
    {L"PositionEffect", &Ticket::positionEffect},
    {L"TradeType",      &Ticket::tradeType},
    {L"ExCode",         &Ticket::exCode},
};
// clang-format on

// A text or a number as it is written; "" for all else.
Text Scalar(const JsonValue& order, TextView name) {
    const JsonValue* value = FindMember(order, name);
    if (value == nullptr || !value->IsNumber()) return Text(StringMember(order, name));
    return WriteJson(*value);
}

// A decimal as a whole number of 1e-10. What is no decimal, or a finer one, stays as it is, and no
// order takes it.
Text Scaled(const Text& decimal) {
    constexpr std::size_t kDecimals = 10;
    Text plain = decimal;
    while (plain.find(L'.') != Text::npos && plain.ends_with(L'0'))
        plain.pop_back();
    const std::size_t point = std::min(plain.find(L'.'), plain.size());
    const bool digits = decimal.find_first_of(L"0123456789") != Text::npos;
    if (!digits || plain.size() > point + 1 + kDecimals) return decimal;
    return WithoutPoint(plain, kDecimals);
}

} // namespace

std::optional<Strategy> ReadStrategy(TextView json) {
    JsonDocument order;
    if (!ParseJson(Text(json), order) || !order.IsObject()) return std::nullopt;
    Strategy strategy;
    Ticket& ticket = strategy.ticket;
    for (const auto& row : kTexts)
        ticket.*row.member = StringMember(order, row.name);
    for (const auto& row : kPrices)
        ticket.*row.member = Scaled(Scalar(order, row.name));
    for (const auto& row : kInts) {
        if (const Text number = Scalar(order, row.name); !number.empty()) {
            ticket.*row.member = ToInt32(number);
        }
    }
    ticket.userKey2 = PackUserKeys(order);
    ticket.kind = SymbolType(ticket.symbol) == L"S" ? kStockOrder : kFutOptOrder;
    const bool iceberg = ticket.strategy == L"ICEBERG";
    if (iceberg) ticket.slicedType = kIceberg;
    ticket.discloseQty = ToInt32(Scalar(order, L"DiscloseQty"));
    strategy.result = iceberg || ticket.strategy == L"SIMPLE" ? kAccepted : kBadStrategy;
    return strategy;
}

} // namespace halvane::paper
