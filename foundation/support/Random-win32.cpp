#include "foundation/support/Random.h"

#include <windows.h>

#include <bcrypt.h>

#include <stdexcept>

namespace halvane {

std::string RandomBytes(std::size_t count) {
    std::string bytes(count, '\0');
    if (BCryptGenRandom(nullptr, reinterpret_cast<PUCHAR>(bytes.data()),
                        static_cast<ULONG>(bytes.size()), BCRYPT_USE_SYSTEM_PREFERRED_RNG) != 0)
        throw std::runtime_error("the system gives no random bytes");
    return bytes;
}

} // namespace halvane
