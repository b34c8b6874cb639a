#include "foundation/logger/SystemFile.h"

#include "foundation/support/Utf.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace halvane {
namespace {

// clang-format off
std::uint32_t ToWindowsError(int error) {
    switch (error) {
    case ENOENT:       return 3;   // opening creates the file, so it is a folder that is missing
    case ENOTDIR:      return 3;
    case ELOOP:        return 3;
    case EMFILE:       return 4;
    case ENFILE:       return 4;
    case EACCES:       return 5;
    case EPERM:        return 5;
    case EISDIR:       return 5;
    case EBADF:        return 6;
    case EROFS:        return 19;
    case EIO:          return 23;
    case ESPIPE:       return 25;
    case ETXTBSY:      return 32;
    case EAGAIN:       return 33;
    case ENODEV:       return 55;
    case EINVAL:       return 87;
    case ENOSPC:       return 112;
    case EDQUOT:       return 112;
    case EFBIG:        return 112;
    case EBUSY:        return 170;
    case EEXIST:       return 183;
    case ENAMETOOLONG: return 206;
    default:           return 31;  // a device that does not work as it should
    }
}
// clang-format on

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

bool SystemFile::IsEmpty() const {
    struct stat state {};
    return fstat(static_cast<int>(handle_), &state) == 0 && state.st_size == 0;
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
