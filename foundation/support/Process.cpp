#include "foundation/support/Process.h"

namespace halvane {

Text ExecutableFolder() {
    const Text path = ExecutablePath();
    return path.substr(0, path.find_last_of(kPathSeparator) + 1);
}

} // namespace halvane
