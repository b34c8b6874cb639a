#include "paper/market/Instrument.h"

#include "paper/base/Units.h"

#include <algorithm>

namespace halvane::paper {
namespace {

std::int64_t OnTick(const Instrument& instrument, std::int64_t priceE10) {
    return std::max(priceE10 / instrument.tickE10, std::int64_t{1}) * instrument.tickE10;
}

} // namespace

std::int32_t DaysLeft(const Instrument& instrument, Day today) {
    if (!instrument.expiry.ok()) return 0;
    const auto days = std::chrono::sys_days(instrument.expiry) - std::chrono::sys_days(today);
    return static_cast<std::int32_t>(std::max<std::int64_t>(days.count() + 1, 0));
}

std::int64_t TimeLeftMs(const Instrument& instrument, LocalMs now) {
    if (!instrument.expiry.ok()) return 0;
    const LocalMs end = std::chrono::local_days(instrument.expiry) + std::chrono::days(1);
    return std::max<std::int64_t>((end - now).count(), 0);
}

void SetReference(Instrument& instrument, std::int64_t priceE10, std::int64_t beneathE10) {
    const std::int64_t reach = Share(beneathE10, instrument.limitPpm, kE6);
    instrument.referenceE10 = OnTick(instrument, priceE10);
    instrument.upperE10 = OnTick(instrument, priceE10 + reach);
    instrument.lowerE10 = OnTick(instrument, priceE10 - reach);
}

} // namespace halvane::paper
