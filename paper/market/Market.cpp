#include "paper/market/Market.h"

#include "foundation/support/Numbers.h"
#include "foundation/support/Strings.h"
#include "paper/base/Units.h"
#include "paper/market/FairValue.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace halvane::paper {
namespace {

constexpr std::int64_t kReachOfLimit = 900'000; // in millionths: short of the limits

// Square roots are exact to the last bit everywhere, which other functions of the kind are not.
std::int64_t PerStepPpb(std::int64_t volatilityPpm, std::int32_t stepMs) {
    return static_cast<std::int64_t>(static_cast<double>(volatilityPpm) * 1000 *
                                     std::sqrt(stepMs / kMsPerYear));
}

class Builder {
  public:
    Builder(MarketPlan plan, Day today) : today_(today) { market_.plan = std::move(plan); }

    Market Build() {
        for (const StockPlan& stock : market_.plan.stocks)
            Add(Stock(stock));
        for (const FuturePlan& future : market_.plan.futures)
            AddContracts(future);
        return std::move(market_);
    }

  private:
    Instrument Product(const ProductPlan& plan) const {
        Instrument product{};
        product.exchange = plan.exchange;
        product.security = plan.security;
        product.tickE10 = plan.tickE10;
        product.multiplier = 1;
        product.maxQuantity = plan.maxQuantity;
        product.driver = market_.drivers.size() - 1;
        product.quoteSize = plan.quoteSize;
        product.limitPpm = plan.limitPpm;
        product.marginPpm = plan.marginPpm;
        product.commissionPpm = plan.commissionPpm;
        product.commissionLotE6 = plan.commissionLotE6;
        return product;
    }

    Instrument Driven(const StockPlan& plan) {
        market_.drivers.push_back(
            {.startE10 = plan.priceE10,
             .volatilityPpb = PerStepPpb(plan.volatilityPpm, market_.plan.stepMs),
             .reachPpm = Share(plan.limitPpm, kReachOfLimit, kE6)});
        Instrument instrument = Product(plan);
        instrument.name = plan.name.empty() ? plan.security : plan.name;
        instrument.volatilityPpm = plan.volatilityPpm;
        return instrument;
    }

    Instrument Stock(const StockPlan& plan) {
        Instrument stock = Driven(plan);
        stock.kind = InstrumentKind::Stock;
        stock.shortId = plan.security;
        stock.symbol = L"OV.S." + plan.exchange + L"." + plan.security;
        return stock;
    }

    void AddContracts(const FuturePlan& plan) {
        const Instrument pattern = Driven(plan);
        std::vector<Day> expiries = plan.expiries;
        for (int quarter = 0; plan.expiries.empty() && quarter < plan.quarters; ++quarter)
            expiries.push_back(QuarterExpiry(today_, quarter));
        std::vector<Instrument> contracts;
        for (const Day expiry : expiries) {
            Instrument contract = Contract(pattern, expiry);
            contract.multiplier = plan.multiplier;
            contract.carryPpm = static_cast<std::int64_t>(contracts.size() + 1) * plan.carryPpm;
            contracts.push_back(std::move(contract));
        }
        for (const Instrument& contract : contracts)
            Add(contract);
        for (const OptionPlan& chain : market_.plan.options) {
            if (chain.security == plan.security && chain.exchange == plan.exchange)
                AddChain(chain, contracts);
        }
    }

    static Instrument Contract(const Instrument& pattern, Day expiry) {
        Instrument contract = pattern;
        contract.kind = InstrumentKind::Future;
        contract.month = MonthText(expiry);
        contract.expiry = expiry;
        contract.shortId = contract.security + contract.month;
        contract.symbol =
            L"OV.F." + contract.exchange + L"." + contract.security + L"." + contract.month;
        contract.name += L" " + contract.month;
        return contract;
    }

    void AddChain(const OptionPlan& chain, const std::vector<Instrument>& contracts) {
        const std::size_t months =
            std::min(contracts.size(), static_cast<std::size_t>(chain.months));
        for (std::size_t month = 0; month < months; ++month) {
            for (const wchar_t* callPut : {L"C", L"P"}) {
                for (const std::int64_t strike : chain.strikes)
                    Add(Option(chain, contracts[month], callPut, strike));
            }
        }
    }

    Instrument Option(const OptionPlan& chain, const Instrument& future, const wchar_t* callPut,
                      std::int64_t strike) const {
        Instrument option = Product(chain);
        const Text number = DecimalText(strike);
        option.kind = InstrumentKind::Option;
        option.month = future.month;
        option.expiry = future.expiry;
        option.multiplier = future.multiplier;
        option.carryPpm = future.carryPpm;
        option.volatilityPpm = future.volatilityPpm;
        option.callPut = callPut;
        option.strikeE10 = strike * kE10;
        option.shortId = future.shortId + callPut + number;
        option.symbol = L"OV.O." + future.exchange + L"." + future.security + L"." + future.month +
                        L"." + callPut + L"." + number;
        option.name = future.name + L" " + callPut + L" " + number;
        return option;
    }

    void Add(Instrument instrument) {
        const std::int64_t driver = market_.drivers.back().startE10;
        const std::int64_t beneath = WithCarry(instrument, driver);
        const LocalMs morning = std::chrono::local_days(today_);
        SetReference(instrument, FairValue(instrument, driver, TimeLeftMs(instrument, morning)),
                     beneath);
        market_.instruments.push_back(std::move(instrument));
    }

    Market market_{};
    const Day today_;
};

} // namespace

Market BuildMarket(MarketPlan plan, Day today) { return Builder(std::move(plan), today).Build(); }

} // namespace halvane::paper
