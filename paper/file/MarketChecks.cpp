#include "paper/file/MarketChecks.h"

#include "foundation/support/Format.h"
#include "foundation/support/Numbers.h"
#include "paper/base/Units.h"

#include <algorithm>
#include <set>

namespace halvane::paper {
namespace {

constexpr std::int64_t kMostAmount = 1'000'000'000'000;

// Calls the check with each object of a list and its passage.
template <class Object, class Check>
void ForEach(const Passage& owner, TextView list, const std::vector<Object>& objects, Check check) {
    const Passage all = owner.At(list);
    for (std::size_t i = 0; i < objects.size(); ++i) {
        const Passage passage = all.Item(i);
        if (passage.value.kind == JsonKind::Object) check(passage, objects[i]);
    }
}

bool IsEmpty(const Passage& owner, TextView list) {
    const LocatedValue* value = owner.value.Find(list);
    return value == nullptr || (value->kind == JsonKind::Array && value->items.empty());
}

std::int64_t ContractsOf(const FuturePlan& future) {
    return future.expiries.empty() ? future.quarters
                                   : static_cast<std::int64_t>(future.expiries.size());
}

double Scaled(std::int64_t valueE6) { return static_cast<double>(valueE6) / kE6; }

// What may be there once only; "" is nothing.
class Names {
  public:
    void Add(const Passage& passage, const Text& name, const Text& mistake = L"is there already") {
        if (!name.empty() && !names_.insert(name).second) passage.Tell(mistake);
    }
    bool Has(const Text& name) const { return names_.contains(name); }
    bool None() const { return names_.empty(); }

  private:
    std::set<Text> names_;
};

class Checker {
  public:
    Checker(const Passage& root, const MarketPlan& plan, LocalMs now) : root_(root), plan_(plan) {
        if (plan.start || !root.Has(L"start")) firstDay_ = DayOf(plan.start.value_or(now));
    }

    void Check() {
        const auto with = [this](auto check) {
            return [this, check](const Passage& passage, const auto& each) {
                (this->*check)(passage, each);
            };
        };
        ForEach(root_, L"serviceKeys", plan_.serviceKeys, with(&Checker::CheckKey));
        ForEach(root_, L"accounts", plan_.accounts, with(&Checker::CheckAccount));
        ForEach(root_, L"exchanges", plan_.exchanges, with(&Checker::CheckExchange));
        if (IsEmpty(root_, L"stocks") && IsEmpty(root_, L"futures"))
            root_.Tell(L"there must be a stock or a future");
        ForEach(root_, L"stocks", plan_.stocks, with(&Checker::CheckStock));
        ForEach(root_, L"futures", plan_.futures, with(&Checker::CheckFuture));
        ForEach(root_, L"options", plan_.options, with(&Checker::CheckChain));
        ForEach(root_, L"incidents", plan_.incidents, with(&Checker::CheckIncident));
    }

  private:
    void CheckKey(const Passage& passage, const ServiceKey& key) {
        keys_.Add(passage.At(L"key"), key.key);
    }

    void CheckAccount(const Passage& passage, const AccountSetup& account) {
        const bool named = !account.brokerId.empty() && !account.account.empty();
        accounts_.Add(passage.At(L"account"),
                      named ? account.brokerId + L"-" + account.account : L"");
        rates_.commissionPpm = std::max(rates_.commissionPpm, account.rates.commissionPpm);
        rates_.marginPpm = std::max(rates_.marginPpm, account.rates.marginPpm);
    }

    void CheckExchange(const Passage& passage, const ExchangePlan& exchange) {
        exchanges_.Add(passage.At(L"exchange"), exchange.exchange);
        std::int32_t closedMs = 0;
        ForEach(passage, L"sessions", exchange.sessions,
                [&](const Passage& at, const Session& session) {
                    if (session.opensMs >= 0 && session.opensMs < closedMs)
                        at.At(L"opens").Tell(L"is before the end of the session before");
                    if (session.closesMs >= 0 && session.closesMs <= session.opensMs)
                        at.At(L"closes").Tell(L"is not after opens");
                    closedMs = std::max(closedMs, session.closesMs);
                });
    }

    void CheckStock(const Passage& passage, const StockPlan& stock) {
        CheckPriced(passage, stock, 1);
    }

    void CheckFuture(const Passage& passage, const FuturePlan& future) {
        CheckPriced(passage, future, future.multiplier);
        CheckExpiries(passage, future);
        const std::int64_t contracts = ContractsOf(future);
        if (kE6 + contracts * future.carryPpm <= 0)
            passage.At(L"carry").Tell(L"leaves nothing of the price of contract " +
                                      DecimalText(contracts));
    }

    void CheckExpiries(const Passage& passage, const FuturePlan& future) {
        if (passage.Has(L"quarters") && passage.Has(L"expiries"))
            passage.Tell(L"quarters and expiries are both given");
        const Passage list = passage.At(L"expiries");
        Day before{};
        for (std::size_t i = 0; i < future.expiries.size(); ++i) {
            const Day day = future.expiries[i];
            if (!day.ok()) continue;
            const Passage at = list.Item(i);
            if (firstDay_ && day < *firstDay_) {
                at.Tell(at.value.text + L" is before the market's first day");
            } else if (before.ok() && day <= before) {
                at.Tell(at.value.text + L" is not after the day before it");
            } else if (before.ok() && MonthText(day) == MonthText(before)) {
                at.Tell(at.value.text + L" is in the month of the day before it");
            }
            before = before.ok() ? std::max(before, day) : day;
        }
    }

    void CheckChain(const Passage& passage, const OptionPlan& chain) {
        const std::int64_t highest = CheckStrikes(passage, chain);
        const Text& name = chain.security;
        const Passage at = passage.At(L"future");
        chains_.Add(at, name, name + L" has options already");
        const auto futures = std::ranges::count(plan_.futures, name, &FuturePlan::security);
        if (name.empty() || futures == 0) {
            if (!name.empty()) at.Tell(name + L" is none of the futures");
        } else if (futures > 1) {
            at.Tell(name + L" is on several exchanges");
        } else {
            CheckChainOn(*std::ranges::find(plan_.futures, name, &FuturePlan::security), passage,
                         chain, highest);
        }
    }

    // The highest strike.
    std::int64_t CheckStrikes(const Passage& passage, const OptionPlan& chain) {
        const Passage list = passage.At(L"strikes");
        std::int64_t highest = 0;
        for (std::size_t i = 0; i < chain.strikes.size(); ++i) {
            const Passage at = list.Item(i);
            if (chain.strikes[i] != 0 && chain.strikes[i] <= highest)
                at.Tell(at.value.text + L" is not above the one before");
            highest = std::max(highest, chain.strikes[i]);
        }
        return highest;
    }

    void CheckChainOn(const FuturePlan& future, const Passage& passage, const OptionPlan& chain,
                      std::int64_t highestStrike) {
        const std::int64_t contracts = ContractsOf(future);
        if (contracts > 0 && chain.months > contracts)
            passage.At(L"months").Tell(
                Format(L"%d is more than %s has contracts", chain.months, future.security));
        CheckLimit(passage, chain, future.priceE10);
        CheckAmounts(passage, chain, std::max(future.priceE10, highestStrike * kE10),
                     future.multiplier);
    }

    void CheckIncident(const Passage& passage, const Incident& incident) {
        if (passage.Has(L"after") && passage.Has(L"at"))
            passage.Tell(L"after and at are both given");
        if (!passage.Has(L"after") && !passage.Has(L"at")) passage.Tell(L"after or at is missing");
        const LocatedValue* kind = passage.value.Find(L"kind");
        const auto row = std::ranges::find(kIncidentRows, kind == nullptr ? L"" : kind->text,
                                           &IncidentRow::name);
        if (row == std::end(kIncidentRows)) return;
        const std::pair<Text, Presence> kMembers[] = {{L"for", row->lasts},
                                                      {L"delayMs", row->delay},
                                                      {L"every", row->every},
                                                      {L"exchange", row->exchange}};
        for (const auto& [name, presence] : kMembers) {
            if (passage.Has(name) && presence == kUnfit)
                passage.At(name).Tell(Text(L"does not go with ").append(row->name));
            if (!passage.Has(name) && presence == kRequired) passage.Tell(name + L" is missing");
        }
        if (row->exchange != kUnfit) CheckKnown(passage.At(L"exchange"), incident.exchange);
    }

    void CheckKnown(const Passage& at, const Text& exchange) {
        if (!exchange.empty() && !exchanges_.None() && !exchanges_.Has(exchange))
            at.Tell(exchange + L" is none of the exchanges");
    }

    void CheckPriced(const Passage& passage, const StockPlan& plan, std::int64_t multiplier) {
        CheckKnown(passage.At(L"exchange"), plan.exchange);
        const bool named = !plan.security.empty() && !plan.exchange.empty();
        const Text name = plan.security + L" on " + plan.exchange;
        products_.Add(passage.At(L"security"), named ? name : L"", name + L" is there already");
        if (plan.tickE10 > 0 && plan.priceE10 % plan.tickE10 != 0)
            passage.At(L"price").Tell(ScaledText(plan.priceE10, kE10) +
                                      L" is not a multiple of the tick " +
                                      ScaledText(plan.tickE10, kE10));
        CheckLimit(passage, plan, plan.priceE10);
        CheckAmounts(passage, plan, plan.priceE10, multiplier);
    }

    void CheckLimit(const Passage& passage, const ProductPlan& product, std::int64_t priceE10) {
        const bool known = priceE10 > 0 && product.limitPpm > 0;
        if (known && Share(priceE10, product.limitPpm, kE6) < product.tickE10)
            passage.At(L"limit").Tell(L"the limit " + ScaledText(product.limitPpm, kE6) +
                                      L" of the price " + ScaledText(priceE10, kE10) +
                                      L" is less than the tick " +
                                      ScaledText(product.tickE10, kE10));
    }

    // What comes of the largest order has to leave room for sums in 64 bits, also when the price
    // has doubled. Doubles are exact enough.
    void CheckAmounts(const Passage& passage, const ProductPlan& product, std::int64_t priceE10,
                      std::int64_t multiplier) {
        const double quantity = product.maxQuantity;
        const double amount =
            2.0 * static_cast<double>(priceE10) * static_cast<double>(multiplier) * quantity / kE10;
        const double commission =
            amount * Scaled(product.commissionPpm) + quantity * Scaled(product.commissionLotE6);
        const std::pair<double, const wchar_t*> kFigures[] = {
            {amount, L"an amount"},
            {amount * Scaled(product.marginPpm) * Scaled(rates_.marginPpm), L"a margin"},
            {commission * Scaled(rates_.commissionPpm), L"a commission"},
        };
        for (const auto& [value, name] : kFigures) {
            if (value <= kMostAmount) continue;
            passage.At(L"maxQuantity")
                .Tell(Format(L"an order of %d may come to %s above %lld", product.maxQuantity, name,
                             static_cast<std::int64_t>(kMostAmount)));
            return;
        }
    }

    const Passage& root_;
    const MarketPlan& plan_;
    std::optional<Day> firstDay_; // nothing when the file says it, but not well
    Rates rates_{0, 0};           // the highest of all accounts
    Names keys_, accounts_, exchanges_, products_, chains_;
};

} // namespace

void CheckMarket(const Passage& root, const MarketPlan& plan, LocalMs now) {
    if (root.value.kind == JsonKind::Object) Checker(root, plan, now).Check();
}

} // namespace halvane::paper
