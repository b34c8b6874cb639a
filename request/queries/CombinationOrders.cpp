#include "request/queries/Queries.h"
#include "request/queries/RowQuery.h"
#include "tradeapi/Symbols.h"
#include "tradeapi/TradeApi.h"

namespace halvane {
namespace {

// An order that combined two option positions or split a combination.
// clang-format off
constexpr Field kCombinationOrder[] = {
    {L"Account",      Named()},
    {L"BrokerID",     Named()},
    {L"OrderID",      Named()},
    {L"FilledID",     Named()},
    {L"Symbol",       Given(&RowTexts::symbol)},
    {L"Quantity",     Named()},
    {L"OptCombCode",  Named()},
    {L"Side",         Named()},
    {L"CombSide",     Named()},
    {L"ExecType",     Named()},
    {L"QryIndex",     Given(&RowTexts::qryIndex)},
};
// clang-format on
static_assert(std::size(kCombinationOrder) == 11 && Fits(kCombinationOrder));

// The symbol of such an order is always a combined one.
Text SymbolOfOrder(Item& item) {
    const auto [first, second] = SplitCombinedSymbol(item.GetNamed(L"Symbol"));
    return first + L"&" + second;
}

constexpr RowQuery kCombinationOrderQuery{
    kCombinationOrders, ItemClass::CombinationOrder, L"Orders", kCombinationOrder, kPage,
    SymbolOfOrder};

} // namespace

void QueryOptCombOrder(RepWorker& worker, const Request& request) {
    AnswerRowQuery(worker, request, kCombinationOrderQuery);
}

} // namespace halvane
