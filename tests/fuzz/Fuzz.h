#pragma once

#include "foundation/support/Utf.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fuzzer/FuzzedDataProvider.h>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace halvane {

// What must hold of every input.
inline void Keep(bool kept, const char* promise) {
    if (kept) return;
    std::fprintf(stderr, "BROKEN: %s\n", promise);
    std::abort();
}

// A file that lies in memory.
class MemoryFile {
  public:
    explicit MemoryFile(const std::string& bytes) : handle_(memfd_create("fuzz", 0)) {
        Keep(pwrite(handle_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()),
             "files can be written");
    }
    ~MemoryFile() { close(handle_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    Text Path() const { return *FromUtf8("/proc/self/fd/" + std::to_string(handle_)); }

  private:
    int handle_;
};

} // namespace halvane
