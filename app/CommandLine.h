#pragma once

#include "foundation/support/Text.h"

#include <vector>

namespace halvane {

// Stores the settings that the command line gives: HostAddress, SystemName, ServiceKey, then
// SubTopic alone or ContractName and SubTopic; and RepPort, which follows from the system name.
// `arguments` do not include the program. False, and nothing stored, when there are fewer than
// three.
[[nodiscard]] bool ParseCommandLine(const std::vector<Text>& arguments);

// The port that the request socket tries first.
int RequestPortOf(TextView systemName);

} // namespace halvane
