#include "foundation/support/Process.h"

#include "foundation/support/Utf.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>

namespace halvane {

const wchar_t kPathSeparator = L'/';

Text ExecutablePath() {
    std::error_code error;
    return FromPath(std::filesystem::read_symlink("/proc/self/exe", error));
}

std::uint32_t CurrentProcessId() { return static_cast<std::uint32_t>(getpid()); }

std::uint32_t CurrentThreadId() {
    static thread_local const auto id = static_cast<std::uint32_t>(syscall(SYS_gettid));
    return id;
}

std::size_t OpenFileLimit() {
    rlimit limit{};
    return getrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : 0;
}

std::uint64_t ResidentBytes() {
    std::uint64_t pages = 0;
    std::ifstream statm("/proc/self/statm");
    statm >> pages >> pages; // the second figure
    return pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

Text FileVersion() { return *FromUtf8(HALVANE_VERSION ".0"); }

} // namespace halvane
