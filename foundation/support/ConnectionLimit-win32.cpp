#include "foundation/support/ConnectionLimit.h"

namespace halvane {

ConnectionLimit::ConnectionLimit(void*, void* socket, std::function<void(int)>) : socket_(socket) {}
ConnectionLimit::~ConnectionLimit() = default;

void RaiseDescriptorLimit() {}

} // namespace halvane
