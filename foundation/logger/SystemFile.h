#pragma once

#include "foundation/support/Text.h"

#include <cstdint>

namespace halvane {

// A file open for appending, in the words of the operating system. Results are error numbers of
// Windows on every system, 0 for success; ToLogError turns them into the logger's codes.
class SystemFile {
  public:
    SystemFile() = default;
    ~SystemFile() { Close(); }
    SystemFile(const SystemFile&) = delete;
    SystemFile& operator=(const SystemFile&) = delete;

    // Opens the file at its end or creates it. Others may read, write and delete it meanwhile. A
    // missing folder is error 3.
    std::uint32_t Open(const Text& path);

    // Writes the bytes and takes from them what was written, which is all of them on success.
    std::uint32_t Write(std::string_view& bytes);

    std::int64_t Size() const; // of the open file; below 0 when it cannot be told

    void Close();

  private:
    std::intptr_t handle_ = -1;
};

// The path from the root of the file system on; unchanged where the system cannot tell.
Text FullPath(const Text& path);

} // namespace halvane
