#pragma once

#include <cstdint>

namespace halvane {

// The identifiers that a report list and an execution report hold, by dispatch id.
inline constexpr std::int32_t kListCount = 2;  // of a list: how many reports
inline constexpr std::int32_t kListEntry = 4;  // of a list: the identifier of report n
inline constexpr std::int32_t kFillCount = 39; // of an execution report: how many fills
inline constexpr std::int32_t kFillEntry = 3;  // of an execution report: the identifier of fill n

} // namespace halvane
