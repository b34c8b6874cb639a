#include "request/queries/Queries.h"
#include "request/queries/RowQuery.h"
#include "tradeapi/TradeApi.h"

namespace halvane {
namespace {

// A position as the clearing side of the platform sees it, combinations included.
// clang-format off
constexpr Field kDetailPosition[] = {
    // key                     source                  written
    {L"LoginID",             Str(4)},
    {L"UserName",            Str(5)},
    {L"BrokerID",            Str(6)},
    {L"BrokerName",          Str(7)},
    {L"Account",             Str(8)},
    {L"AccountName",         Str(9)},
    {L"SecurityType",        Str(12)},
    {L"Symbol",              Given(&RowTexts::symbol)},
    {L"SymbolA",             Str(14)},
    {L"SymbolB",             Str(15)},
    {L"CurrencyToSystem",    Str(36)},
    {L"CombinationType",     Named(L"OptCombCode")}, // named otherwise by the platform
    {L"TransactDate",        Int(10)},
    {L"TransactTime",        Int(11)},
    {L"SpreadType",          NamedInt()},
    {L"Side",                Int(25)},
    {L"Side1",               Int(26)},
    {L"Side2",               Int(27)},
    {L"Quantity",            Int(28)},
    {L"OptCombID",           Named()},
    {L"CombLongPosition",    NamedInt()},
    {L"CombShortPosition",   NamedInt()},
    {L"UsedMargin",          Int64(33),                  Write::Price},
    {L"QryIndex",            Given(&RowTexts::qryIndex)},
};
// clang-format on
static_assert(std::size(kDetailPosition) == 24 && Fits(kDetailPosition));

constexpr RowQuery kDetailPositionQuery{
    kDetailPositions, ItemClass::Position, L"Positions", kDetailPosition, kPage, SymbolOfPosition};

} // namespace

void QueryOptCombPosition(RepWorker& worker, const Request& request) {
    AnswerRowQuery(worker, request, kDetailPositionQuery);
}

} // namespace halvane
