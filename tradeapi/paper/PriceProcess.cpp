#include "tradeapi/paper/PriceProcess.h"

#include "tradeapi/paper/Codes.h"
#include "tradeapi/paper/Units.h"

#include <algorithm>

namespace halvane::paper {
namespace {

constexpr std::int64_t kFarthestPpm = 90'000; // within the price limits of the day
constexpr std::int64_t kPull = 1 << 15;       // steps in which a walk forgets where it was
constexpr std::int64_t kTimeValuePpm = 20'000;

// Near enough to a normal distribution: four 16-bit numbers, their sum around 0 with a standard
// deviation of kDeviation.
constexpr std::int64_t kDeviation = 37'837;
std::int64_t Bell(std::uint64_t bits) {
    std::int64_t sum = -131'070; // what they are in the mean
    for (int part = 0; part < 4; ++part)
        sum += static_cast<std::int64_t>(bits >> (16 * part) & 0xFFFF);
    return sum;
}

std::int64_t OptionValue(const Instrument& option, std::int64_t driverE10) {
    const std::int64_t distance = driverE10 - option.strikeE10;
    const std::int64_t intrinsic =
        std::max<std::int64_t>(option.callPut == L"C" ? distance : -distance, 0);
    // In millionths, since the product of two prices must fit.
    const std::int64_t most = Share(option.strikeE10, kTimeValuePpm, kE6) / kE4;
    const std::int64_t timeValue = Share(most, most, most + std::abs(distance) / kE4);
    return intrinsic + timeValue * kE4;
}

} // namespace

std::int64_t Quote::PriceFor(std::int32_t takerSide) const {
    return takerSide == kBuy ? askE10 : bidE10;
}

std::int32_t& Quote::SizeFor(std::int32_t takerSide) {
    return takerSide == kBuy ? askSize : bidSize;
}

std::int32_t Quote::SizeFor(std::int32_t takerSide) const {
    return takerSide == kBuy ? askSize : bidSize;
}

std::int64_t FairValue(const Instrument& instrument, std::int64_t driverE10) {
    if (instrument.kind == InstrumentKind::Option) return OptionValue(instrument, driverE10);
    return driverE10 + Share(driverE10, instrument.carryPpm, kE6);
}

PriceProcess::PriceProcess(std::span<const Driver> drivers, std::uint64_t seed) : random_(seed) {
    for (const Driver& driver : drivers)
        walks_.push_back({driver, driver.startE10});
}

void PriceProcess::Step() {
    for (Walk& walk : walks_) {
        const std::int64_t start = walk.driver.startE10;
        const std::int64_t deviation = Share(start, walk.driver.volatilityPpm, kE6);
        const std::int64_t farthest = Share(start, kFarthestPpm, kE6);
        walk.valueE10 += Share(deviation, Bell(random_()), kDeviation);
        walk.valueE10 -= (walk.valueE10 - start) / kPull;
        walk.valueE10 = std::clamp(walk.valueE10, start - farthest, start + farthest);
    }
}

Tick PriceProcess::NextTick(const Instrument& instrument) {
    const std::uint64_t bits = random_();
    const std::int64_t value = FairValue(instrument, walks_[instrument.driver].valueE10);
    const std::int64_t tick = instrument.tickE10;
    const auto most = static_cast<std::uint64_t>(instrument.quoteSize);
    const auto size = [&](int shift) {
        return static_cast<std::int32_t>(1 + (bits >> shift & 0xFFFFF) % most);
    };
    Quote quote{};
    quote.bidE10 = value / tick * tick;
    quote.askE10 = quote.bidE10 + ((bits & 7) == 0 ? 2 * tick : tick); // now and then wider
    quote.bidSize = quote.bidE10 > 0 ? size(8) : 0;
    quote.askSize = size(28);
    const bool lastAtBid = (bits >> 63) != 0 && quote.bidE10 > 0;
    return {quote, lastAtBid ? quote.bidE10 : quote.askE10};
}

} // namespace halvane::paper
