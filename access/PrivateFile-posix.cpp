#include "access/PrivateFile.h"

#include "foundation/support/Utf.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace halvane {

bool WritePrivateFile(const Text& path, std::string_view bytes) {
    constexpr int kHow = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
    const int file = ::open(ToPath(path).c_str(), kHow, S_IRUSR | S_IWUSR);
    if (file < 0) return false;
    const bool written =
        ::write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    return ::close(file) == 0 && written;
}

} // namespace halvane
