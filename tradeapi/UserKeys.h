#pragma once

#include "foundation/support/Text.h"

#include <utility>
#include <vector>

namespace halvane {

// The members that a report's two user-key texts become, in order: "UserKey1", then either
// "UserKey2" or, when the second text begins with "UK#", one member for each key that was packed
// into it as "UK#<n>=<value>", separated by ";".
std::vector<std::pair<Text, Text>> ExpandUserKeys(TextView first, TextView second);

} // namespace halvane
