#include "paper/accounts/Account.h"

#include "paper/accounts/Risk.h"
#include "paper/base/Codes.h"
#include "paper/base/Units.h"
#include "paper/market/MarketClock.h"
#include "paper/orders/Book.h"

#include <cstdlib>
#include <utility>

namespace halvane::paper {

Account::Account(AccountSetup setup)
    : setup_(std::move(setup)), mask_(setup_.brokerId + L"-" + setup_.account),
      cashE6_(setup_.balanceE6), cashAtStartE6_(cashE6_) {}

Position& Account::PositionIn(const Book& book) {
    return positions_.try_emplace(&book, Position{.book = &book, .rates = setup_.rates})
        .first->second;
}

void Account::Freeze(Order& order, const Needs& needs) {
    order.frozen = needs;
    Work(PositionIn(order.book), order.IsBuy(), order.state.leaves, needs.first);
    if (order.second) {
        const Leg& leg = *order.second;
        Work(PositionIn(leg.book), leg.IsBuy(), order.state.leaves, needs.second);
    }
}

void Account::Release(Order& order) {
    const auto back = [](const Frozen& need) { return Frozen{} -= need; };
    Work(PositionIn(order.book), order.IsBuy(), -order.state.leaves, back(order.frozen.first));
    if (order.second) {
        const Leg& leg = *order.second;
        Work(PositionIn(leg.book), leg.IsBuy(), -order.state.leaves, back(order.frozen.second));
    }
    order.frozen = {};
}

void Account::Work(Position& position, bool buy, std::int32_t quantity, const Frozen& need) {
    (buy ? position.workingBuy : position.workingSell) += quantity;
    position.frozen += need;
    frozen_ += need;
}

void Account::Apply(const Fill& fill) {
    Position& position = PositionIn(fill.book);
    if (!position.held) held_.push_back(&position);
    Trade(position, fill.side == kBuy, fill.priceE10, fill.quantity);
    const std::int64_t commission = paper::CommissionE6(position, fill.priceE10, fill.quantity);

    position.stamp = fill.stamp;
    position.commissionE6 += commission;
    ++position.day.deals;
    commissionE6_ += commission;
    cashE6_ -= commission;
    audit_.Pay(commission);
}

void Account::Trade(Position& position, bool buy, std::int64_t priceE10, std::int64_t quantity) {
    const Instrument& instrument = position.book->TheInstrument();
    const std::int64_t profit = position.Apply(buy, priceE10, quantity);
    const std::int64_t amount = AmountE6(priceE10, quantity * instrument.multiplier);
    const std::int64_t paid = buy ? -amount : amount;
    realisedE6_ += profit;
    if (instrument.kind == InstrumentKind::Option) optionPremiumE6_ += paid;
    cashE6_ += instrument.kind == InstrumentKind::Future ? profit : paid;
    audit_.Trade(*position.book, buy ? quantity : -quantity, priceE10);
}

void Account::Settle(const Book& book, std::int64_t priceE10) {
    const auto found = positions_.find(&book);
    if (found == positions_.end() || found->second.net == 0) return;
    Position& position = found->second;
    Trade(position, position.net < 0, priceE10, std::abs(position.net));
    position.stamp = book.Clock().Now();
}

void Account::EndDay() {
    cashAtStartE6_ = cashE6_;
    marginAtStartE6_ = Reckon().margin;
    commissionE6_ = realisedE6_ = optionPremiumE6_ = 0;
    combinations_.actions.clear();
    for (auto& [book, position] : positions_)
        position.EndDay(ModelGainE6(position));
}

bool Account::Balances() const { return Reckon().Equity() == setup_.balanceE6 + audit_.ProfitE6(); }

Funds Account::Reckon() const {
    Funds funds;
    funds.cash = cashE6_;
    funds.frozen = frozen_;
    for (const Position* position : held_) {
        const std::int64_t value = position->ValueE6();
        switch (position->book->TheInstrument().kind) {
        case InstrumentKind::Stock:
            funds.stockValue += value;
            funds.stockProfit += position->OpenProfitE6();
            break;
        case InstrumentKind::Future: funds.futureProfit += position->OpenProfitE6(); break;
        case InstrumentKind::Option:
            (value > 0 ? funds.longOptionValue : funds.shortOptionValue) += value;
            funds.optionProfit += position->OpenProfitE6();
            break;
        }
        funds.margin += position->MarginE6();
    }
    return funds;
}

} // namespace halvane::paper
