#include "foundation/support/DescriptorLimit.h"

#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>

namespace halvane {
namespace {

constexpr rlim_t kLargestReserve = 64;

bool IsAtPort(int descriptor, int port) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    return getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
           ntohs(address.sin_port) == port;
}

// The system gives the lowest number that is free: when it gives one from the reserve, all those
// below are taken.
bool IsOfReserve(int descriptor) {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return false;
    const rlim_t reserve = std::min(limit.rlim_cur / 8, kLargestReserve);
    return static_cast<rlim_t>(descriptor) >= limit.rlim_cur - reserve;
}

} // namespace

void RaiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

// The connection may have ended meanwhile and its number stand for something else. If that is
// another connection to the same port, it is one too many as well.
bool CloseIfOfReserve(int descriptor, int port) {
    return IsOfReserve(descriptor) && IsAtPort(descriptor, port) &&
           shutdown(descriptor, SHUT_RDWR) == 0;
}

} // namespace halvane
