#include "paper/rows/AccountItems.h"

#include "paper/accounts/Account.h"
#include "paper/accounts/Risk.h"
#include "paper/base/Calendar.h"
#include "paper/base/PaperItem.h"
#include "paper/base/Units.h"
#include "paper/orders/Book.h"
#include "tradeapi/PropertyIds.h"

#include <algorithm>

namespace halvane::paper {
namespace {

struct MoneyRow {
    std::int32_t id;
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
        {margin_id::kBeginningBalance, account.CashAtStartE6()},
        {margin_id::kCommissions, account.CommissionE6()},
        {margin_id::kFrozenCommission, funds.frozen.commissionE6},
        {margin_id::kGrossPl, account.RealisedE6()},
        {margin_id::kOptionPremium, account.OptionPremiumE6()},
        {margin_id::kNetPl, account.RealisedE6() - account.CommissionE6()},
        {margin_id::kExcessEquity, funds.Free()},
        {margin_id::kWithdrawQuota, std::max<std::int64_t>(std::min(funds.Free(), ending), 0)},
        {margin_id::kEndingBalance, ending},
        {margin_id::kOpenTradeEquity, funds.futureProfit},
        {margin_id::kTotalEquity, ending + funds.futureProfit},
        {margin_id::kOptionNetMarketValue, funds.OptionValue()},
        {margin_id::kAccountValueAtMarket, funds.Equity()},
        {margin_id::kFrozenCash, funds.frozen.cashE6},
        {margin_id::kCurrencyConversionRate, kE6},
        {margin_id::kConvertedAccountValueAtMkt, funds.Equity()},
    };
    // clang-format on
    for (const auto& [id, amount] : rows)
        item.Put(id, amount);
}

void PutMargins(PaperItem& item, const Account& account, const Funds& funds) {
    item.Put(margin_id::kPreMargin, account.MarginAtStartE6());
    item.Put(margin_id::kInitialMarginRequirement, funds.margin);
    item.Put(margin_id::kMaintenanceMarginRequirement, funds.margin); // they are the same here
    item.Put(margin_id::kCurrMargin, funds.margin);
    item.Put(margin_id::kExchangeMargin, funds.margin);
    item.Put(margin_id::kMarginDeficit, std::max<std::int64_t>(-funds.Free(), 0));
    item.Put(margin_id::kFrozenMargin, funds.frozen.marginE6);
}

// Transfers, credit, mortgage, delivery, exercise and interest do not exist on paper.
void PutNothing(PaperItem& item) {
    for (const std::int32_t id :
         {margin_id::kExchangeClearingFee, margin_id::kBrokerageFee, margin_id::kCashIn,
          margin_id::kDeposit, margin_id::kWithdraw, margin_id::kCashActivity,
          margin_id::kReserveBalance, margin_id::kCredit, margin_id::kMortgage,
          margin_id::kPreMortgage, margin_id::kPreCredit, margin_id::kPreDeposit,
          margin_id::kDeliveryMargin, margin_id::kExchangeDeliveryMargin,
          margin_id::kExerciseIncome, margin_id::kIncomeBalance, margin_id::kInterestBase,
          margin_id::kInterest}) {
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
    const NamedNumber rows[] = {
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
    item.Put(account_id::kBrokerId, account.brokerId);
    item.Put(account_id::kAccount, account.account);
    item.Put(account_id::kUserName, account.userName);
    item.Put(account_id::kAccountName, account.accountName);
    item.Put(account_id::kBrokerName, account.brokerName);
    item.Put(account_id::kStatus, kinds.empty() ? 0 : 1); // may trade
    item.Put(account_id::kAccountType, kinds);
    item.Put(account_id::kOrderExchange, exchanges);
    item.PutNamed(L"Level", L"1");
    item.PutNamed(L"Region", L"PAPER");
}

// The owner's properties have the same ids in both classes.
static_assert(+margin_id::kLoginId == +position_id::kLoginId &&
              +margin_id::kAccountName == +position_id::kAccountName);

void PutOwner(PaperItem& item, const AccountSetup& account) {
    item.Put(margin_id::kLoginId, account.loginId);
    item.Put(margin_id::kUserName, account.userName);
    item.Put(margin_id::kBrokerId, account.brokerId);
    item.Put(margin_id::kBrokerName, account.brokerName);
    item.Put(margin_id::kAccount, account.account);
    item.Put(margin_id::kAccountName, account.accountName);
}

void PutMargin(PaperItem& item, const Account& account, const Text& currency, Stamp now) {
    const Funds funds = account.Reckon();
    PutOwner(item, account.Setup());
    item.Put(margin_id::kTransactDate, now.date);
    item.Put(margin_id::kTransactTime, now.time);
    item.Put(margin_id::kCurrencyToSystem, currency);
    item.Put(margin_id::kCurrencyToClient, currency);
    PutCash(item, account, funds);
    PutMargins(item, account, funds);
    PutNothing(item);
    PutNamedFunds(item, account, funds);
}

} // namespace halvane::paper
