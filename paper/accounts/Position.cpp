#include "paper/accounts/Position.h"

#include "paper/base/Codes.h"
#include "paper/base/Units.h"
#include "paper/orders/Book.h"

#include <cstdlib>

namespace halvane::paper {
namespace {

// What stands for a share of the value in the margin of `units`, and the value itself if it counts.
std::int64_t MarginFor(const Position& position, std::int64_t priceE10, std::int64_t units) {
    const Instrument& instrument = position.book->TheInstrument();
    const bool option = instrument.kind == InstrumentKind::Option;
    const std::int64_t base = AmountE6(option ? instrument.strikeE10 : priceE10, units);
    return Share(base, Share(instrument.marginPpm, position.rates.marginPpm, kE6), kE6);
}

} // namespace

std::int64_t Position::Apply(bool buy, std::int64_t priceE10, std::int64_t quantity) {
    const std::int64_t multiplier = book->TheInstrument().multiplier;
    const std::int64_t sign = buy ? 1 : -1;
    const bool opposite = buy ? net < 0 : net > 0;
    const std::int64_t closing = opposite ? std::min(std::abs(net), quantity) : 0;
    const std::int64_t opening = quantity - closing;
    const std::int64_t closingE6 = AmountE6(priceE10, closing * multiplier);
    const std::int64_t openingE6 = AmountE6(priceE10, opening * multiplier);

    const std::int64_t released = closing == 0 ? 0 : Share(costE6, closing, std::abs(net));
    const std::int64_t profit = -sign * closingE6 - released;
    const std::int64_t dayReleased = closing == 0 ? 0 : Share(day.costE6, closing, std::abs(net));
    day.costE6 += sign * openingE6 - dayReleased;
    day.realisedE6 += -sign * closingE6 - dayReleased;
    day.carried += sign * std::min(closing, std::abs(day.carried));
    net += sign * quantity;
    costE6 += sign * openingE6 - released;
    realisedE6 += profit;
    (buy ? bought : sold) += quantity;
    (buy ? boughtE6 : soldE6) += closingE6 + openingE6;
    opened += opening;
    closed += closing;
    openedE6 += openingE6;
    closedE6 += closingE6;
    held = true;
    return profit;
}

void Position::EndDay(std::int64_t modelGainE6) {
    const std::int64_t profit = DayProfitE6();
    day = {.carried = net,
           .carriedAtStart = net,
           .costE6 = ValueE6(),
           .marginAtStartE6 = MarginE6(),
           .modelGainAtStartE6 = modelGainE6,
           .previousE6 = profit,
           .previousModelE6 = profit + modelGainE6 - day.modelGainAtStartE6};
    earlierE6 += realisedE6;
    for (std::int64_t* figure : {&realisedE6, &commissionE6, &bought, &sold, &opened, &closed,
                                 &boughtE6, &soldE6, &openedE6, &closedE6})
        *figure = 0;
}

std::int64_t Position::ValueE6() const {
    return AmountE6(book->LastE10(), net * book->TheInstrument().multiplier);
}

std::int64_t Position::MarginE6() const {
    const Instrument& instrument = book->TheInstrument();
    const std::int64_t units = std::abs(net) * instrument.multiplier;
    const bool future = instrument.kind == InstrumentKind::Future;
    if (net > 0 && !future) return 0;
    const std::int64_t share = MarginFor(*this, book->LastE10(), units);
    return future ? share : share - ValueE6();
}

bool Position::Breaks(bool buy, std::int64_t quantity) const {
    const bool closes = buy ? net < 0 : net > 0;
    const std::int64_t working = buy ? workingBuy : workingSell;
    return combined != 0 && closes && std::abs(net) - combined < working + quantity;
}

std::int64_t Position::Available(std::int32_t heldSide) const {
    const bool isLong = heldSide == kBuy;
    const std::int64_t quantity = isLong ? LongQty() : ShortQty();
    const std::int64_t closing = isLong ? workingSell : workingBuy;
    return std::max<std::int64_t>(quantity - combined - closing, 0);
}

std::int64_t Position::AveragePriceE10() const {
    return PriceOfE10(std::abs(costE6), std::abs(net) * book->TheInstrument().multiplier);
}

Frozen NeedOf(bool buy, std::int32_t quantity, const Position& position, std::int64_t priceE10) {
    const Instrument& instrument = position.book->TheInstrument();
    const std::int64_t opposite = buy ? position.ShortQty() : position.LongQty();
    const std::int64_t before = buy ? position.workingBuy : position.workingSell;
    const std::int64_t closable = std::max<std::int64_t>(opposite - before, 0);
    const std::int64_t opening = std::max<std::int64_t>(quantity - closable, 0);
    const std::int64_t units = opening * instrument.multiplier;

    Frozen need;
    if (buy && instrument.kind != InstrumentKind::Future) {
        need.cashE6 = AmountE6(priceE10, units);
    } else {
        need.marginE6 = MarginFor(position, priceE10, units);
    }
    need.commissionE6 = CommissionE6(position, priceE10, quantity);
    return need;
}

std::int64_t CommissionE6(const Position& position, std::int64_t priceE10, std::int64_t quantity) {
    const Instrument& instrument = position.book->TheInstrument();
    const std::int64_t rate = position.rates.commissionPpm;
    const std::int64_t ppm = Share(instrument.commissionPpm, rate, kE6);
    const std::int64_t amount = AmountE6(priceE10, quantity * instrument.multiplier);
    const bool rounded = amount % kE6 * ppm % kE6 != 0;
    return Share(amount, ppm, kE6) + (rounded ? 1 : 0) +
           Share(instrument.commissionLotE6, rate, kE6) * quantity;
}

} // namespace halvane::paper
