#pragma once

#include <filesystem>
#include <string>

namespace halvane {

// All bytes of a file; "" when there is none, or what is there cannot be read, a folder say.
std::string ReadFileBytes(const std::filesystem::path& path);

} // namespace halvane
