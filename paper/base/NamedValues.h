#pragma once

#include "foundation/support/Text.h"

namespace halvane::paper {

// The value of `name` in a list "name=value" with a separator between, the first of two equal
// names; "" when it is not there.
TextView NamedValue(TextView list, wchar_t separator, TextView name);

} // namespace halvane::paper
