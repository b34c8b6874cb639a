#pragma once

#include "paper/market/Instrument.h"

#include <cstdint>

namespace halvane::paper {

// What a future stands at when its driver stands at a value, between ticks or not; for an option
// what its future does.
std::int64_t WithCarry(const Instrument& instrument, std::int64_t driverE10);

// What an instrument is worth then. Options: the intrinsic value and the time value of the normal
// model, alike for call and put, with `leftMs` as TimeLeftMs counts it.
std::int64_t FairValue(const Instrument& instrument, std::int64_t driverE10, std::int64_t leftMs);

} // namespace halvane::paper
