#include "foundation/support/InstanceGuard.h"

#include "foundation/support/Md5.h"
#include "foundation/support/Utf.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <utility>

namespace halvane {
namespace {

// A digest of the system name, because names of sockets are short.
std::string SocketName(const Text& systemName) { return "Halvane" + Md5Hex(ToUtf8(systemName)); }

} // namespace

// A socket name outside the file system: it goes with the process, however that ends.
std::optional<InstanceGuard> InstanceGuard::Take(const Text& systemName) {
    const std::string name = SocketName(systemName);
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

bool InstanceGuard::IsHeld(const Text& systemName) {
    std::ifstream sockets("/proc/net/unix");
    const std::string end = "@" + SocketName(systemName);
    for (std::string line; std::getline(sockets, line);) {
        if (line.ends_with(end)) return true;
    }
    return false;
}

InstanceGuard::InstanceGuard(InstanceGuard&& other) noexcept
    : handle_(std::exchange(other.handle_, -1)) {}

InstanceGuard::~InstanceGuard() {
    if (handle_ >= 0) close(static_cast<int>(handle_));
}

} // namespace halvane
