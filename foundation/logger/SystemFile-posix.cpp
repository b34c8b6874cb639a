#include "foundation/logger/SystemFile.h"

#include "foundation/support/Utf.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>

namespace halvane {
namespace {

struct SystemError {
    int local;
    std::uint32_t windows;
};

// clang-format off
constexpr SystemError kErrors[] = {
    {ENOENT,       3},  // opening creates the file, so it is a folder that is missing
    {ENOTDIR,      3},
    {ELOOP,        3},
    {EMFILE,       4},
    {ENFILE,       4},
    {EACCES,       5},
    {EPERM,        5},
    {EISDIR,       5},
    {EBADF,        6},
    {EROFS,        19},
    {EIO,          23},
    {ESPIPE,       25},
    {ETXTBSY,      32},
    {EAGAIN,       33},
    {ENODEV,       55},
    {EINVAL,       87},
    {ENOSPC,       112},
    {EDQUOT,       112},
    {EFBIG,        112},
    {EBUSY,        170},
    {EEXIST,       183},
    {ENAMETOOLONG, 206},
};
// clang-format on

std::uint32_t ToWindowsError(int error) {
    constexpr std::uint32_t kNotWorking = 31; // a device that does not work as it should
    const auto found = std::ranges::find(kErrors, error, &SystemError::local);
    return found == std::end(kErrors) ? kNotWorking : found->windows;
}

} // namespace

std::uint32_t SystemFile::Open(const Text& path) {
    Close();
    constexpr int kHow = O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC;
    handle_ = ::open(ToPath(path).c_str(), kHow, 0666);
    return handle_ >= 0 ? 0 : ToWindowsError(errno);
}

std::uint32_t SystemFile::Write(std::string_view& bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(static_cast<int>(handle_), bytes.data(), bytes.size());
        if (written >= 0)
            bytes.remove_prefix(static_cast<std::size_t>(written));
        else if (errno != EINTR)
            return ToWindowsError(errno);
    }
    return 0;
}

std::int64_t SystemFile::Size() const {
    struct stat state {};
    fstat(static_cast<int>(handle_), &state); // what is open tells
    return state.st_size;
}

void SystemFile::Close() {
    if (handle_ >= 0) ::close(static_cast<int>(handle_));
    handle_ = -1;
}

Text FullPath(const Text& path) {
    std::error_code error;
    const auto full = std::filesystem::absolute(ToPath(path), error);
    return error ? path : FromPath(full.lexically_normal());
}

} // namespace halvane
