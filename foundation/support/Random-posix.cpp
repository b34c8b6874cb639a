#include "foundation/support/Random.h"

#include <stdexcept>
#include <unistd.h>

namespace halvane {

std::string RandomBytes(std::size_t count) {
    std::string bytes(count, '\0');
    if (getentropy(bytes.data(), bytes.size()) != 0)
        throw std::runtime_error("the system gives no random bytes");
    return bytes;
}

} // namespace halvane
