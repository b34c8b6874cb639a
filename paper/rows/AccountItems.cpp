#include "paper/rows/AccountItems.h"

#include "paper/accounts/Account.h"
#include "paper/accounts/Risk.h"
#include "paper/base/Calendar.h"
#include "paper/base/PaperItem.h"
#include "paper/base/Units.h"
#include "paper/orders/Book.h"

#include <algorithm>

namespace halvane::paper {
namespace {

struct MoneyRow {
    std::int32_t id;
    std::int64_t amountE6;
};

struct NamedRow {
    TextView name;
    std::int64_t amountE6;
};

// Margin over equity, in millionths; with margin and no equity there is nothing to compare it with.
std::int64_t RiskRatePpm(const Funds& funds) {
    const std::int64_t equity = funds.Equity();
    if (equity <= 0) return funds.margin == 0 ? 0 : kNoInt64;
    constexpr std::int64_t kCent = kE4; // finer amounts would not fit when multiplied
    return Share(funds.margin / kCent, kE6, std::max<std::int64_t>(equity / kCent, 1));
}

void PutCash(PaperItem& item, const Account& account, const Funds& funds) {
    const std::int64_t ending = funds.cash;
    // clang-format off
    const MoneyRow rows[] = {
        {12, account.CashAtStartE6()},     // BeginningBalance
        {13, account.CommissionE6()},      // Commissions
        {14, funds.frozen.commissionE6},   // FrozenCommission
        {17, account.RealisedE6()},        // GrossPL
        {18, account.OptionPremiumE6()},   // OptionPremium
        {20, account.RealisedE6() - account.CommissionE6()}, // NetPL
        {24, funds.Free()},                // ExcessEquity
        {25, std::max<std::int64_t>(std::min(funds.Free(), ending), 0)}, // WithdrawQuota
        {26, ending},                      // EndingBalance
        {27, funds.futureProfit},          // OpenTradeEquity
        {28, ending + funds.futureProfit}, // TotalEquity
        {29, funds.OptionValue()},         // OptionNetMarketValue
        {30, funds.Equity()},              // AccountValueAtMarket
        {36, funds.frozen.cashE6},         // FrozenCash
        {53, kE6},                         // CurrencyConversionRate
        {54, funds.Equity()},              // ConvertedAccountValueAtMkt
    };
    // clang-format on
    for (const auto& [id, amount] : rows)
        item.Put(id, amount);
}

void PutMargins(PaperItem& item, const Account& account, const Funds& funds) {
    item.Put(43, account.MarginAtStartE6()); // PreMargin
    item.Put(31, funds.margin);              // InitialMarginRequirement
    item.Put(32, funds.margin);              // MaintenanceMarginRequirement: the same here
    item.Put(33, funds.margin);              // CurrMargin
    item.Put(44, funds.margin);              // ExchangeMargin
    item.Put(34, std::max<std::int64_t>(-funds.Free(), 0)); // MarginDeficit
    item.Put(35, funds.frozen.marginE6);                    // FrozenMargin
}

// Transfers, credit, mortgage, delivery, exercise and interest do not exist on paper.
void PutNothing(PaperItem& item) {
    for (const std::int32_t id :
         {15, 16, 19, 21, 22, 23, 37, 38, 39, 40, 41, 42, 45, 46, 47, 48, 49, 50}) {
        item.Put(id, std::int64_t{0});
    }
}

// Sums over the positions that the funds do not tell.
struct PositionSums {
    std::int64_t openByDate = 0, frozenPremium = 0, modelValue = 0, modelGain = 0;
};

PositionSums SumsOf(const Account& account) {
    PositionSums sums;
    for (const auto& [book, position] : account.Positions()) {
        const bool option = book->TheInstrument().kind == InstrumentKind::Option;
        sums.openByDate += position.OpenProfitByDateE6();
        sums.frozenPremium += option ? position.frozen.cashE6 : 0;
        sums.modelValue += ModelValueE6(position);
        sums.modelGain += ModelGainE6(position);
    }
    return sums;
}

void PutNamedFunds(PaperItem& item, const Account& account, const Funds& funds) {
    const PositionSums sums = SumsOf(account);
    const std::int64_t risk = RiskRatePpm(funds);
    const NamedRow rows[] = {
        {L"MarginLevel", risk},
        {L"UPLForOptions", funds.optionProfit},
        {L"LongOptionNetMarketValue", funds.longOptionValue},
        {L"ShortOptionNetMarketValue", funds.shortOptionValue},
        {L"MarginExcess", funds.Free()},
        {L"AdjustedEquity", funds.Equity()},
        {L"FrozenpPremium", sums.frozenPremium}, // spelt so on the wire
        {L"FloatProfitByDate", sums.openByDate},
        {L"FloatProfitByTrade", funds.OpenProfit()},
        {L"FutureProfitByDay", funds.futureProfit},
        {L"ReferenceRiskRate", risk},
        {L"TryExcessEquity", funds.Free()},
        {L"DynamicEquity", funds.Equity()},
        {L"MarketPremium", funds.OptionValue()},
        {L"StockReferenceMarket", funds.stockValue},
        {L"RiskRate", risk},
        {L"StockMarketValue", funds.stockValue},
        {L"TheoMktVal", sums.modelValue},
        {L"TheoMktValEquity", funds.Equity() + sums.modelGain},
    };
    for (const auto& [name, amount] : rows)
        item.PutNamed(name, amount);
}

} // namespace

void PutAccount(PaperItem& item, const AccountSetup& account, const MarketPlan& plan) {
    Text kinds, exchanges;
    for (std::size_t kind = 0; kind < account.mayTrade.size(); ++kind) {
        if (account.mayTrade[kind]) kinds += L"SFO"[kind]; // stocks, futures, options
    }
    for (const ExchangePlan& each : plan.exchanges)
        exchanges += (exchanges.empty() ? L"" : L";") + each.exchange;
    item.Put(2, account.brokerId);
    item.Put(3, account.account);
    item.Put(4, account.userName);
    item.Put(5, account.accountName);
    item.Put(6, account.brokerName);
    item.Put(7, kinds.empty() ? 0 : 1); // may trade
    item.Put(8, kinds);
    item.Put(12, exchanges);
    item.PutNamed(L"Level", L"1");
    item.PutNamed(L"Region", L"PAPER");
}

void PutOwner(PaperItem& item, const AccountSetup& account) {
    item.Put(4, account.loginId);
    item.Put(5, account.userName);
    item.Put(6, account.brokerId);
    item.Put(7, account.brokerName);
    item.Put(8, account.account);
    item.Put(9, account.accountName);
}

void PutMargin(PaperItem& item, const Account& account, const Text& currency, Stamp now) {
    const Funds funds = account.Reckon();
    PutOwner(item, account.Setup());
    item.Put(10, now.date);
    item.Put(11, now.time);
    item.Put(51, currency);
    item.Put(52, currency);
    PutCash(item, account, funds);
    PutMargins(item, account, funds);
    PutNothing(item);
    PutNamedFunds(item, account, funds);
}

} // namespace halvane::paper
