#include "paper/market/PriceProcess.h"

#include "paper/base/Codes.h"
#include "paper/base/Units.h"
#include "paper/market/FairValue.h"

#include <algorithm>

namespace halvane::paper {
namespace {

// Near enough to a normal distribution: four 16-bit numbers, their sum around 0 with a standard
// deviation of kDeviation.
constexpr std::int64_t kDeviation = 37'837;
std::int64_t Bell(std::uint64_t bits) {
    std::int64_t sum = -131'070; // what they are in the mean
    for (int part = 0; part < 4; ++part)
        sum += static_cast<std::int64_t>(bits >> (16 * part) & 0xFFFF);
    return sum;
}

constexpr std::int64_t kE9 = 1'000'000'000;
constexpr std::int32_t kTradedShare = 4; // of what is quoted, at most

// A number from 0 up to `most`, from 16 bits or fewer of a draw.
std::int32_t Upto(std::int32_t most, std::uint64_t bits, int width) {
    return static_cast<std::int32_t>((static_cast<std::uint64_t>(most) + 1) * bits >> width);
}

// Nothing is offered beyond the limits of the day.
void KeepWithin(Quote& quote, const Instrument& instrument) {
    if (quote.bidE10 < instrument.lowerE10 || quote.bidE10 > instrument.upperE10)
        quote.bidE10 = quote.bidSize = 0;
    if (quote.askE10 < instrument.lowerE10 || quote.askE10 > instrument.upperE10)
        quote.askE10 = quote.askSize = 0;
}

} // namespace

PriceProcess::PriceProcess(std::span<const Driver> drivers, std::uint64_t seed) : random_(seed) {
    for (const Driver& driver : drivers)
        walks_.push_back({driver, driver.startE10, driver.startE10});
}

void PriceProcess::Advance() {
    for (Walk& walk : walks_) {
        const std::int64_t deviation = Share(walk.valueE10, walk.driver.volatilityPpb, kE9);
        const std::int64_t reach = Share(walk.dayStartE10, walk.driver.reachPpm, kE6);
        walk.valueE10 = std::clamp(walk.valueE10 + Share(deviation, Bell(random_()), kDeviation),
                                   walk.dayStartE10 - reach, walk.dayStartE10 + reach);
    }
}

void PriceProcess::StartDay() {
    for (Walk& walk : walks_)
        walk.dayStartE10 = walk.valueE10;
}

PriceStep PriceProcess::NextStep(const Instrument& instrument, LocalMs now) {
    const std::uint64_t bits = random_();
    const std::int64_t value =
        FairValue(instrument, walks_[instrument.driver].valueE10, TimeLeftMs(instrument, now));
    const std::int64_t tick = instrument.tickE10;
    const auto size = [&](int shift) {
        return 1 + Upto(instrument.quoteSize - 1, bits >> shift & 0xFFFF, 16);
    };
    Quote quote{};
    quote.bidE10 = value / tick * tick;
    quote.askE10 = quote.bidE10 + tick;
    const bool wider = (bits & 7) == 0; // now and then, on one of the sides
    if (wider) (bits & 8 ? quote.bidE10 : quote.askE10) += bits & 8 ? -tick : tick;
    quote.bidSize = size(8);
    quote.askSize = size(24);
    KeepWithin(quote, instrument);

    const bool sale = (bits >> 63 != 0 || quote.askSize == 0) && quote.bidSize != 0;
    const std::int32_t quoted = sale ? quote.bidSize : quote.askSize;
    return {.quote = quote,
            .lastE10 = sale                 ? quote.bidE10
                       : quote.askSize != 0 ? quote.askE10
                                            : std::clamp(value / tick * tick, instrument.lowerE10,
                                                         instrument.upperE10),
            .lastSide = sale ? kSell : kBuy,
            .lastSize = Upto(std::min(instrument.quoteSize / kTradedShare, quoted),
                             bits >> 40 & 0xFFFF, 16)};
}

} // namespace halvane::paper
