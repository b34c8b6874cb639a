#include "paper/exchange/Signals.h"

#include "foundation/support/Numbers.h"
#include "paper/base/Codes.h"
#include "paper/base/Units.h"
#include "paper/exchange/Exchange.h"

#include <cstdlib>
#include <utility>

namespace halvane::paper {
namespace {

constexpr std::size_t kFast = 40;
constexpr std::size_t kSlow = 240;

Text MoneyText(std::int64_t amountE6) { return PriceText(AmountE10(amountE6)); }

} // namespace

void Signals::Series::Add(std::int64_t priceE10) {
    if (pricesE10.size() < kSlow) {
        pricesE10.push_back(priceE10);
        slowSumE10 += priceE10;
        if (pricesE10.size() > kSlow - kFast) fastSumE10 += priceE10;
        return;
    }
    fastSumE10 += priceE10 - pricesE10[(oldest + kSlow - kFast) % kSlow];
    slowSumE10 += priceE10 - pricesE10[oldest];
    pricesE10[oldest] = priceE10;
    oldest = (oldest + 1) % kSlow;
}

std::int32_t Signals::Series::Judge(std::int64_t tickE10) {
    const std::int64_t distance = DistanceE10();
    if (pricesE10.size() < kSlow || std::abs(distance) < tickE10) return 0;
    const std::int32_t before = std::exchange(score, distance > 0 ? 1 : -1);
    return score - before;
}

std::int64_t Signals::Series::DistanceE10() const {
    return fastSumE10 / std::int64_t{kFast} - slowSumE10 / std::int64_t{kSlow};
}

std::vector<Signal> Signals::Step(const Exchange& exchange) {
    std::vector<Signal> signals;
    std::int32_t sum = 0;
    for (const Book& book : exchange.Books()) {
        const Instrument& instrument = book.TheInstrument();
        if (instrument.kind == InstrumentKind::Option || exchange.Hours().HasExpired(book))
            continue;
        Series& series = series_[&book];
        series.Add(book.LastE10());
        const std::int32_t change = series.Judge(instrument.tickE10);
        sum += series.score;
        if (change == 0) continue;
        signals.push_back({&book, series.score, change, series.DistanceE10(), ++series.signals, 0});
    }
    for (Signal& signal : signals)
        signal.sumOfAllScores = sum;
    return signals;
}

Text SignalText(const Signal& signal, const Account& account) {
    const Book& book = *signal.book;
    const Instrument& instrument = book.TheInstrument();
    const auto found = account.Positions().find(&book);
    const Position none{.book = &book};
    const Position& position = found == account.Positions().end() ? none : found->second;
    const std::int64_t risk = AmountE6(std::abs(signal.distanceE10), instrument.multiplier);
    const Text fields[] = {
        instrument.symbol,
        account.Setup().account,
        DecimalText(book.CurrentQuote().SizeFor(signal.score > 0 ? kBuy : kSell)),
        DecimalText(signal.score),
        DecimalText(signal.change),
        MoneyText(position.OpenProfitE6()),
        DecimalText(signal.distanceE10 / instrument.tickE10),
        MoneyText(risk),
        DecimalText(signal.score - position.net),
        DecimalText(signal.number),
        DecimalText(signal.sumOfAllScores),
        L"0",
    };
    Text text;
    for (const Text& field : fields)
        text += (text.empty() ? L"" : L"|") + field;
    return text;
}

} // namespace halvane::paper
