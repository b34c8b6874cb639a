#pragma once

#include "feed/Publication.h"

#include <cstdint>
#include <string>

namespace halvane {

// One publication with its number.
struct FeedRow {
    std::int64_t number = 0;
    std::string run;
    std::int64_t timeNs = 0; // since 1970, never less than that of the row before
    Route route;
    bool recovered = false;
    std::string json; // UTF-8, without a zero at its end
};

// The kind of the row that stands behind publications which could not be written: it says which
// numbers they would have had.
inline constexpr std::string_view kGapKind = "FEEDGAP";

// Sixteen hexadecimal digits that nobody else draws.
std::string DrawIdentity();

} // namespace halvane
