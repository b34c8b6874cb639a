#pragma once

#include "foundation/support/Numbers.h"

#include <cstdint>

namespace halvane {

// Number texts of the records. The smallest 32-bit or 64-bit integer means that there is no value
// and gives "".

// The ways to write a 64-bit fixed-point value.
enum FixedPointMode : int {
    kWhole = 0,        // the integer as it is
    kAmount = 1,       // millionths, six decimals
    kPrice = 2,        // units of 1e-10, seven decimals
    kCents = 3,        // units of 1e-10, rounded half away from zero to two decimals
    kCount = 4,        // the integer; "" for every multiple of 2^31 but 0
    kAveragePrice = 5, // units of 1e-10, eight decimals
};

// Decimals without zeros at their end; "" for any other mode.
NumberDigits FormatFixedPoint(std::int64_t value, int mode);

NumberDigits FormatLong(std::int32_t value);

// Units of 1e-10 with six decimals, none trimmed, no value that means none.
NumberDigits FormatSixDecimals(std::int64_t value);

} // namespace halvane
