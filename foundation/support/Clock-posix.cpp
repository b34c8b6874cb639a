#include "foundation/support/Clock.h"

namespace halvane {

std::tm ToLocalParts(std::time_t seconds) {
    std::tm parts{};
    localtime_r(&seconds, &parts);
    return parts;
}

} // namespace halvane
