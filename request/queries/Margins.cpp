#include "request/queries/Queries.h"
#include "request/queries/RowQuery.h"
#include "tradeapi/TradeApi.h"

namespace halvane {
namespace {

// The funds of an account, one row for each currency. Amounts in millionths.
// clang-format off
constexpr Field kMargin[] = {
    // key                                source        written
    {L"BrokerID",                         Str(6)},
    {L"LoginID",                          Str(4)},
    {L"UserName",                         Str(5)},
    {L"BrokerName",                       Str(7)},
    {L"Account",                          Str(8)},
    {L"AccountName",                      Str(9)},
    {L"TransactDate",                     Int(10)},
    {L"TransactTime",                     Int(11)},
    {L"BeginningBalance",                 Int64(12),    Write::Amount},
    {L"Commissions",                      Int64(13),    Write::Amount},
    {L"FrozenCommission",                 Int64(14),    Write::Amount},
    {L"ExchangeClearinigFee",             Int64(15),    Write::Amount}, // spelt so on the wire
    {L"BrokerageFee",                     Int64(16),    Write::Amount},
    {L"GrossPL",                          Int64(17),    Write::Amount},
    {L"OptionPremium",                    Int64(18),    Write::Amount},
    {L"CashIn",                           Int64(19),    Write::Amount},
    {L"NetPL",                            Int64(20),    Write::Amount},
    {L"Deposit",                          Int64(21),    Write::Amount},
    {L"Withdraw",                         Int64(22),    Write::Amount},
    {L"CashActivity",                     Int64(23),    Write::Amount},
    {L"ExcessEquity",                     Int64(24),    Write::Amount},
    {L"WithdrawQuota",                    Int64(25),    Write::Amount},
    {L"EndingBalance",                    Int64(26),    Write::Amount},
    {L"OpenTradeEquity",                  Int64(27),    Write::Amount},
    {L"TotalEquity",                      Int64(28),    Write::Amount},
    {L"OptionNetMarketValue",             Int64(29),    Write::Amount},
    {L"AccountValueAtMarket",             Int64(30),    Write::Amount},
    {L"InitialMarginRequirement",         Int64(31),    Write::Amount},
    {L"MaintenanceMarginRequirement",     Int64(32),    Write::Amount},
    {L"CurrMargin",                       Int64(33),    Write::Amount},
    {L"ExchangeMargin",                   Int64(44),    Write::Amount},
    {L"MarginDeficit",                    Int64(34),    Write::Amount},
    {L"FrozenMargin",                     Int64(35),    Write::Amount},
    {L"FrozenCash",                       Int64(36),    Write::Amount},
    {L"ReserveBalance",                   Int64(37),    Write::Amount},
    {L"Credit",                           Int64(38),    Write::Amount},
    {L"Mortgage",                         Int64(39),    Write::Amount},
    {L"PreMortgage",                      Int64(40),    Write::Amount},
    {L"PreCredit",                        Int64(41),    Write::Amount},
    {L"PreDeposit",                       Int64(42),    Write::Amount},
    {L"PreMargin",                        Int64(43),    Write::Amount},
    {L"DeliveryMargin",                   Int64(45),    Write::Amount},
    {L"ExchangeDeliveryMargin",           Int64(46),    Write::Amount},
    {L"CurrencyToSystem",                 Str(51)},
    {L"CurrencyConversionRate",           Int64(53),    Write::Amount},
    {L"CurrencyToClient",                 Str(52)},
    {L"ConvertedAccountValueAtMkt",       Int64(54),    Write::Amount},
    {L"ExerciseIncome",                   Int64(47),    Write::Amount},
    {L"IncomeBalance",                    Int64(48),    Write::Amount},
    {L"InterestBase",                     Int64(49),    Write::Amount},
    {L"Interest",                         Int64(50),    Write::Amount},
    {L"MarginLevel",                      NamedInt64(), Write::Amount},
    {L"UPLForOptions",                    NamedInt64(), Write::Amount},
    {L"LongOptionNetMarketValue",         NamedInt64(), Write::Amount},
    {L"ShortOptionNetMarketValue",        NamedInt64(), Write::Amount},
    {L"FrozenpPremium",                   NamedInt64(), Write::Amount}, // spelt so on the wire
    {L"MarginExcess",                     NamedInt64(), Write::Amount},
    {L"AdjustedEquity",                   NamedInt64(), Write::Amount},
    {L"PreFundMortgageIn",                NamedInt64(), Write::Amount},
    {L"PreFundMortgageOut",               NamedInt64(), Write::Amount},
    {L"FundMortgageIn",                   NamedInt64(), Write::Amount},
    {L"FundMortgageOut",                  NamedInt64(), Write::Amount},
    {L"FundMortgageAvailable",            NamedInt64(), Write::Amount},
    {L"MortgageableFund",                 NamedInt64(), Write::Amount},
    {L"SpecProductMargin",                NamedInt64(), Write::Amount},
    {L"SpecProductFrozenMargin",          NamedInt64(), Write::Amount},
    {L"SpecProductCommission",            NamedInt64(), Write::Amount},
    {L"SpecProductFrozenCommission",      NamedInt64(), Write::Amount},
    {L"SpecProductPositionProfit",        NamedInt64(), Write::Amount},
    {L"SpecProductCloseProfit",           NamedInt64(), Write::Amount},
    {L"SpecProductPositionProfitByAlg",   NamedInt64(), Write::Amount},
    {L"SpecProductExchangeMargin",        NamedInt64(), Write::Amount},
    {L"FloatProfitByDate",                NamedInt64(), Write::Amount},
    {L"FloatProfitByTrade",               NamedInt64(), Write::Amount},
    {L"FutureProfitByDay",                NamedInt64(), Write::Amount},
    {L"ReferenceRiskRate",                NamedInt64(), Write::Amount},
    {L"TryExcessEquity",                  NamedInt64(), Write::Amount},
    {L"DynamicEquity",                    NamedInt64(), Write::Amount},
    {L"MarketPremium",                    NamedInt64(), Write::Amount},
    {L"OptionPremiumCoin",                NamedInt64(), Write::Amount},
    {L"StockReferenceMarket",             NamedInt64(), Write::Amount},
    {L"RiskRate",                         NamedInt64(), Write::Amount},
    {L"StockMarketValue",                 NamedInt64(), Write::Amount},
    {L"TheoMktVal",                       NamedInt64(), Write::Amount},
    {L"TheoMktValEquity",                 NamedInt64(), Write::Amount},
    {L"DoUpdate",                         Named()},
};
// clang-format on
static_assert(std::size(kMargin) == 86 && Fits(kMargin));

constexpr RowQuery kMarginQuery{kMargins, ItemClass::Margin, L"Margins",
                                kMargin,  kAllRows,          nullptr};

} // namespace

void QueryMargins(RepWorker& worker, const Request& request) {
    AnswerRowQuery(worker, request, kMarginQuery);
}

} // namespace halvane
