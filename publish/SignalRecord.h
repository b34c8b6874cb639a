#pragma once

#include "foundation/support/Text.h"

namespace halvane {

class JsonWriter;

// A trading signal: one text of fields with "|" between them, each of which becomes a member of the
// object that is open. Missing fields give "", fields beyond the last key are dropped.
void WriteSignal(JsonWriter& out, TextView signal);

} // namespace halvane
