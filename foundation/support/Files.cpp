#include "foundation/support/Files.h"

#include <fstream>
#include <sstream>

namespace halvane {

// By the buffer, for an iterator throws where the system refuses to read.
std::string ReadFileBytes(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return std::move(bytes).str();
}

} // namespace halvane
