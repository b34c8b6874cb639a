#include "request/queries/Queries.h"
#include "request/queries/RowQuery.h"
#include "tradeapi/TradeApi.h"

namespace halvane {
namespace {

// A position in one instrument or one spread. Prices and amounts in units of 1e-10.
// clang-format off
constexpr Field kPosition[] = {
    // key                         source                        written
    {L"LoginID",                   Str(4)},
    {L"UserName",                  Str(5)},
    {L"BrokerID",                  Str(6)},
    {L"BrokerName",                Str(7)},
    {L"Account",                   Str(8)},
    {L"AccountName",               Str(9)},
    {L"SecurityType",              Str(12)},
    {L"Symbol",                    Given(&RowTexts::symbol)},
    {L"SymbolA",                   Str(14)},
    {L"SymbolB",                   Str(15)},
    {L"Exchange",                  Str(16)},
    {L"Security",                  Str(17)},
    {L"Security2",                 Str(18)},
    {L"Month",                     Str(19)},
    {L"Month2",                    Str(20)},
    {L"CallPut",                   Str(21)},
    {L"CallPut2",                  Str(22)},
    {L"CurrencyToSystem",          Str(36)},
    {L"CombinationType",           Named(L"OptCombCode")},               // named otherwise by the platform
    {L"TransactDate",              Int(10)},
    {L"TransactTime",              Int(11)},
    {L"SpreadType",                NamedInt()},
    {L"Side",                      Int(25)},
    {L"Side1",                     Int(26)},
    {L"Side2",                     Int(27)},
    {L"Covered",                   Int(59)},
    {L"Quantity",                  Int(28)},
    {L"SumLongQty",                Int(60)},
    {L"SumShortQty",               Int(61)},
    {L"TodayLongQty",              Int(62)},
    {L"TodayShortQty",             Int(63)},
    {L"YdLongQty",                 Int(64)},
    {L"YdShortQty",                Int(65)},
    {L"WorkingLong",               Int(68)},
    {L"WorkingShort",              Int(69)},
    {L"TdBuyQty",                  Int(77)},
    {L"TdSellQty",                 Int(78)},
    {L"TdTotalQty",                Int(79)},
    {L"LongFrozen",                Int(37)},
    {L"ShortFrozen",               Int(38)},
    {L"Lock_ExecFrozen",           Int(80)},
    {L"LongAvailable",             Int(81)},
    {L"ShortAvailable",            Int(82)},
    {L"YdOrgNetQty",               NamedInt()},
    {L"YdOrgLongQty",              NamedInt()},
    {L"YdOrgShortQty",             NamedInt()},
    {L"StrikePrice",               Int64(23),                    Write::Price},
    {L"StrikePrice2",              Int64(24),                    Write::Price},
    {L"AvgPrice",                  Int64(29),                    Write::AveragePrice},
    {L"OpenPrice",                 Int64(71),                    Write::AveragePrice},
    {L"LongAvgPrice",              Int64(66),                    Write::AveragePrice},
    {L"ShortAvgPrice",             Int64(67),                    Write::AveragePrice},
    {L"LongOpenPrice",             NamedInt64(),                 Write::Price},
    {L"ShortOpenPrice",            NamedInt64(),                 Write::Price},
    {L"TdBuyAvgPrice",             NamedInt64(),                 Write::Price},
    {L"TdSellAvgPrice",            NamedInt64(),                 Write::Price},
    {L"TdNetAvgPrice",             NamedInt64(),                 Write::Price},
    {L"FloatProfitByDate",         NamedInt64(),                 Write::Price},
    {L"FloatProfitByTrade",        NamedInt64(),                 Write::Price},
    {L"LongFloatProfitByDate",     NamedInt64(),                 Write::Price},
    {L"ShortFloatProfitByDate",    NamedInt64(),                 Write::Price},
    {L"LongFloatProfitByTrade",    NamedInt64(),                 Write::Price},
    {L"ShortFloatProfitByTrade",   NamedInt64(),                 Write::Price},
    {L"CloseProfitByTrade",        Int64(48),                    Write::Price},
    {L"CloseProfitByDate",         Int64(47),                    Write::Price},
    {L"TodayProfit",               NamedInt64(),                 Write::Price},
    {L"MarketPrice",               NamedInt64(),                 Write::Amount}, // alone in millionths
    {L"OpenCost",                  Int64(45),                    Write::Price},
    {L"PositionCost",              Int64(46),                    Write::Price},
    {L"ExchangeRate",              NamedInt64(),                 Write::Price},
    {L"UnrealizedPL",              Int64(30),                    Write::Price},
    {L"SettlementPrice",           Int64(31),                    Write::Price},
    {L"PrevSettlementPrice",       Int64(32),                    Write::Price},
    {L"UsedMargin",                Int64(33),                    Write::Price},
    {L"FrozenMargin",              Int64(34),                    Write::Price},
    {L"CloseProfit",               Int64(35),                    Write::Price},
    {L"LongFrozenAmount",          Int64(39),                    Write::Price},
    {L"ShortFrozenAmount",         Int64(40),                    Write::Price},
    {L"OpenVolume",                Int(41)},
    {L"CloseVolume",               Int(42)},
    {L"OpenAmount",                Int64(43),                    Write::Price},
    {L"CloseAmount",               Int64(44),                    Write::Price},
    {L"OpenCost",                  Int64(45),                    Write::Price}, // twice on the wire
    {L"PositionProfitByDate",      Int64(73),                    Write::Price},
    {L"PositionProfitByTrade",     Int64(74),                    Write::Price},
    {L"MarginRateByMoney",         Int64(75),                    Write::Price},
    {L"MarginRateByVolume",        Int64(76),                    Write::Price},
    {L"PreMargin",                 Int64(49),                    Write::Price},
    {L"FrozenCash",                Int64(50),                    Write::Price},
    {L"CashIn",                    Int64(51),                    Write::Price},
    {L"Commission",                Int64(52),                    Write::Price},
    {L"StrikeFrozen",              Int(53)},
    {L"StrikeFrozenAmount",        Int64(54),                    Write::Price},
    {L"AbandonFrozen",             Int(55)},
    {L"CombPosition",              Int(56)},
    {L"CombLongFrozen",            Int(57)},
    {L"CombShortFrozen",           Int(58)},
    {L"PosDelta",                  NamedInt64(),                 Write::Price},
    {L"$Delta",                    NamedInt64(),                 Write::Price},
    {L"$Gamma",                    NamedInt64(),                 Write::Price},
    {L"$Theta",                    NamedInt64(),                 Write::Price},
    {L"$Vega",                     NamedInt64(),                 Write::Price},
    {L"$Rho",                      NamedInt64(),                 Write::Price},
    {L"PNL",                       NamedInt64(),                 Write::Price},
    {L"TheoPNL",                   NamedInt64(),                 Write::Price},
    {L"$Charm",                    NamedInt64(),                 Write::Price},
    {L"$Vanna",                    NamedInt64(),                 Write::Price},
    {L"$Vomma",                    NamedInt64(),                 Write::Price},
    {L"$Speed",                    NamedInt64(),                 Write::Price},
    {L"$Zomma",                    NamedInt64(),                 Write::Price},
    {L"TimeValue",                 NamedInt64(),                 Write::Price},
    {L"TheoMktVal",                NamedInt64(),                 Write::Price},
    {L"1%$Vanna",                  NamedInt64(L"1Pct$Vanna"),    Write::Price},
    {L"1%$Gamma",                  NamedInt64(L"1Pct$Gamma"),    Write::Price},
    {L"1%Td$Gamma",                NamedInt64(L"1PctTd$Gamma"),  Write::Price},
    {L"Instrument",                Given(&RowTexts::instrument)},
    {L"QryIndex",                  Given(&RowTexts::qryIndex)},
};
// clang-format on
static_assert(std::size(kPosition) == 117 && Fits(kPosition));

void WorkOut(TradeApi& tradeApi, Item& item, RowTexts& row) {
    row.symbol = SymbolOfPosition(item);
    row.instrument = tradeApi.GetInstrumentData(L"Instrument", row.symbol);
}

constexpr RowQuery kPositionQuery{kPositions, ItemClass::Position, L"Positions", kPosition, kPage,
                                  WorkOut};

} // namespace

void QueryPositions(RepWorker& worker, const Request& request) {
    AnswerRowQuery(worker, request, kPositionQuery);
}

} // namespace halvane
