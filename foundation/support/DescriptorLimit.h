#pragma once

namespace halvane {

// Allows the process as many descriptors as the system grants it.
void RaiseDescriptorLimit();

// Closes an accepted connection to that port if its descriptor is one of a reserve, the last that
// the process may have. False when it is not, or when there is no such limit.
bool CloseIfOfReserve(int descriptor, int port);

} // namespace halvane
