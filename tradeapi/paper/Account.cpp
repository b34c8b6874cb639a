#include "tradeapi/paper/Account.h"

#include "tradeapi/paper/Book.h"
#include "tradeapi/paper/Units.h"

#include <utility>

namespace halvane::paper {

Account::Account(AccountSetup setup)
    : setup_(std::move(setup)), mask_(setup_.brokerId + L"-" + setup_.account),
      cashE6_(setup_.balanceE6) {}

Position& Account::PositionIn(const Book& book) {
    return positions_.try_emplace(&book, Position{.book = &book}).first->second;
}

void Account::Freeze(Order& order, const Frozen& need) {
    Position& position = PositionIn(order.book);
    (order.IsBuy() ? position.workingBuy : position.workingSell) += order.state.leaves;
    order.frozen = need;
    position.frozen += need;
    frozen_ += need;
}

void Account::Release(Order& order) {
    Position& position = PositionIn(order.book);
    (order.IsBuy() ? position.workingBuy : position.workingSell) -= order.state.leaves;
    position.frozen -= order.frozen;
    frozen_ -= order.frozen;
    order.frozen = {};
}

void Account::Apply(const Fill& fill) {
    Position& position = PositionIn(fill.order.book);
    const Instrument& instrument = fill.order.book.TheInstrument();
    if (!position.held) held_.push_back(&position);
    const bool buy = fill.order.IsBuy();
    const std::int64_t profit = position.Apply(buy, fill.priceE10, fill.quantity);
    const std::int64_t amount = AmountE6(fill.priceE10, fill.quantity * instrument.multiplier);
    const std::int64_t paid = buy ? -amount : amount;
    const std::int64_t commission = paper::CommissionE6(instrument, fill.priceE10, fill.quantity);

    position.stamp = fill.stamp;
    position.commissionE6 += commission;
    commissionE6_ += commission;
    realisedE6_ += profit;
    if (instrument.kind == InstrumentKind::Option) optionPremiumE6_ += paid;
    cashE6_ += (instrument.kind == InstrumentKind::Future ? profit : paid) - commission;
}

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
