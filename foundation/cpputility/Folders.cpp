#include "foundation/cpputility/Folders.h"

#include "foundation/support/Utf.h"

#include <filesystem>

namespace CppUtility {

bool CreateFolder(const wchar_t* path) {
    const std::filesystem::path folder = halvane::ToPath(path);
    std::error_code ignored;
    if (std::filesystem::exists(std::filesystem::symlink_status(folder, ignored))) return false;
    std::filesystem::create_directory(folder, ignored);
    return true;
}

} // namespace CppUtility
