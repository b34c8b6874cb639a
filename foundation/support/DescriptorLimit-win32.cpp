#include "foundation/support/DescriptorLimit.h"

namespace halvane {

void RaiseDescriptorLimit() {}

bool CloseIfOfReserve(int, int) { return false; }

} // namespace halvane
