#include "paper/market/FairValue.h"

#include "paper/base/Units.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>

namespace halvane::paper {
namespace {

// The time value of the normal model by the distance from the strike, which counts in quarters of
// the standard deviation until expiry, in millionths of that deviation.
constexpr std::int64_t kTimeValuePpm[] = {398'942, 286'345, 197'797, 131'167, 83'315, 50'587,
                                          29'307,  16'174,  8'491,   4'235,   2'004,  899,
                                          382,     154,     58,      21,      7,      0};

// Square roots are exact to the last bit everywhere.
std::int64_t DeviationE10(std::int64_t valueE10, std::int64_t volatilityPpm, std::int64_t leftMs) {
    const double years = static_cast<double>(leftMs) / kMsPerYear;
    const double share = static_cast<double>(volatilityPpm) * std::sqrt(years);
    return Share(valueE10, std::min(static_cast<std::int64_t>(share), kE6), kE6);
}

std::int64_t TimeValue(std::int64_t deviationE10, std::int64_t distanceE10) {
    constexpr std::int64_t kParts = 1000; // between two rows of the table
    const std::int64_t part = deviationE10 / (4 * kParts);
    if (part == 0) return 0;
    const std::int64_t parts = distanceE10 / part;
    const auto row = static_cast<std::size_t>(parts / kParts);
    if (row + 1 >= std::size(kTimeValuePpm)) return 0;
    const std::int64_t drop = kTimeValuePpm[row] - kTimeValuePpm[row + 1];
    return Share(deviationE10, kTimeValuePpm[row] - drop * (parts % kParts) / kParts, kE6);
}

std::int64_t OptionValue(const Instrument& option, std::int64_t beneathE10, std::int64_t leftMs) {
    const std::int64_t distance = beneathE10 - option.strikeE10;
    const bool call = option.callPut == L"C";
    const std::int64_t deviation = DeviationE10(beneathE10, option.volatilityPpm, leftMs);
    return std::max<std::int64_t>(call ? distance : -distance, 0) +
           TimeValue(deviation, std::abs(distance));
}

} // namespace

std::int64_t WithCarry(const Instrument& instrument, std::int64_t driverE10) {
    return driverE10 + Share(driverE10, instrument.carryPpm, kE6);
}

std::int64_t FairValue(const Instrument& instrument, std::int64_t driverE10, std::int64_t leftMs) {
    const std::int64_t value = WithCarry(instrument, driverE10);
    const bool option = instrument.kind == InstrumentKind::Option;
    return option ? OptionValue(instrument, value, leftMs) : value;
}

} // namespace halvane::paper
