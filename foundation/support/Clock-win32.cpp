#include "foundation/support/Clock.h"

namespace halvane {

std::tm ToLocalParts(std::time_t seconds) {
    std::tm parts{};
    localtime_s(&parts, &seconds);
    return parts;
}

} // namespace halvane
