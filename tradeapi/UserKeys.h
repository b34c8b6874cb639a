#pragma once

#include "foundation/support/Json.h"

namespace halvane {

class JsonWriter;

// The platform has room for two user keys: all from the second to the hundredth that an order bears
// as members "UserKey<n>" travel in one text, as "UK#2=<value>;UK#7=<value>".
Text PackUserKeys(const JsonValue& order);

// Writes the members that a report's two user-key texts become: "UserKey1", then either "UserKey2"
// or, when the second text begins with "UK#", one member for each key that was packed into it as
// "UK#<n>=<value>", separated by ";".
void WriteUserKeys(JsonWriter& out, TextView first, TextView second);

} // namespace halvane
