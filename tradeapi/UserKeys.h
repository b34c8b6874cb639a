#pragma once

#include "foundation/support/Json.h"

#include <utility>
#include <vector>

namespace halvane {

// The platform has room for two user keys: all from the second to the hundredth that an order bears
// as members "UserKey<n>" travel in one text, as "UK#2=<value>;UK#7=<value>".
Text PackUserKeys(const JsonValue& order);

// The members that a report's two user-key texts become, in order: "UserKey1", then either
// "UserKey2" or, when the second text begins with "UK#", one member for each key that was packed
// into it as "UK#<n>=<value>", separated by ";".
std::vector<std::pair<Text, Text>> ExpandUserKeys(TextView first, TextView second);

} // namespace halvane
