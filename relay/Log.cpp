#include "relay/Log.h"

#include "foundation/support/Clock.h"
#include "foundation/support/Utf.h"

#include <cstdio>

namespace halvane::relay {

void Say(const std::string& text) {
    const std::string line = ToUtf8(UtcText(TheClock().UnixTimeMs())) + " " + text + "\n";
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
}

} // namespace halvane::relay
