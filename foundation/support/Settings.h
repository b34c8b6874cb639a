#pragma once

#include "foundation/support/Text.h"

namespace halvane {

// The process-wide settings: name to text. Unknown names read as "". Safe from any thread.
Text GetSetting(TextView name);
void SetSetting(TextView name, Text value);

// Forgets all settings, so that one process can start a second host.
void ClearSettings();

} // namespace halvane
