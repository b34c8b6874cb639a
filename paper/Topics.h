#pragma once

#include "foundation/support/Text.h"

namespace halvane::paper {

// What the platform and its clients say to each other by topic.

inline constexpr TextView kRecoverTopic = L"VANTOR.RECOVER"; // asks for a contract list of a day
inline constexpr TextView kReturnTopic = L"VANTOR.RETURN";   // answers that
inline constexpr TextView kSignalTopic = L"Corvinta";
inline constexpr TextView kLineTopic = L"MSG2LINE.UD"; // takes messages for the outside

} // namespace halvane::paper
