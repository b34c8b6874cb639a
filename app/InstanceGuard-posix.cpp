#include "app/InstanceGuard.h"

#include "foundation/support/Md5.h"
#include "foundation/support/Utf.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace halvane {

// A socket name outside the file system: it goes with the process, however that ends. A digest of
// the system name, because such names are short.
std::optional<InstanceGuard> InstanceGuard::Take(const Text& systemName) {
    const std::string name = "Halvane" + Md5Hex(ToUtf8(systemName));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::ranges::copy(name, address.sun_path + 1); // the zero before it takes it out of the files
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    const int handle = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (handle < 0) return std::nullopt;
    InstanceGuard guard(handle);
    if (bind(handle, reinterpret_cast<const sockaddr*>(&address), length) != 0) return std::nullopt;
    return guard;
}

InstanceGuard::InstanceGuard(InstanceGuard&& other) noexcept
    : handle_(std::exchange(other.handle_, -1)) {}

InstanceGuard::~InstanceGuard() {
    if (handle_ >= 0) close(static_cast<int>(handle_));
}

} // namespace halvane
