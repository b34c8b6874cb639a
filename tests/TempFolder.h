#pragma once

#include "foundation/support/Process.h"
#include "foundation/support/Utf.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace halvane {

// A new empty folder that is gone with all it holds when the test ends.
class TempFolder {
  public:
    TempFolder() {
        static std::atomic<int> count = 0;
        do // what a killed test of the same number left is passed over
            path_ =
                std::filesystem::temp_directory_path() /
                ("halvane-" + std::to_string(CurrentProcessId()) + "-" + std::to_string(++count));
        while (!std::filesystem::create_directory(path_));
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& Path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
    Text TextOf(const std::string& name) const { return FromPath(path_ / name); }

  private:
    std::filesystem::path path_;
};

// The bytes of a file; "" when it cannot be read.
inline std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

} // namespace halvane
