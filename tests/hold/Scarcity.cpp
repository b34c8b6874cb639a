#include "tests/hold/Scarcity.h"

#include "tests/hold/FakeZmq.h"

#include <dlfcn.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <utility>

namespace halvane::scarcity {
namespace {

thread_local Kind scarce = kNothing;
thread_local int left = 0, failing = 0;
std::atomic<int> live = 0; // of all threads: one may give back what another has got

bool Strikes(Kind kind) {
    return scarce == kind && fake_zmq::inside == 0 && --left < 0 && left >= -failing;
}

template <class Function> Function* Real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool FileFails() {
    if (!Strikes(kFiles)) return false;
    errno = EIO;
    return true;
}

} // namespace

void FailNth(Kind kind, int n, int count) {
    scarce = n < 0 ? kNothing : kind;
    left = n;
    failing = count;
}

bool EndFailing() { return std::exchange(scarce, kNothing) != kNothing && left < 0; }

int LiveBlocks() { return live; }

} // namespace halvane::scarcity

using namespace halvane::scarcity;

// NOLINTBEGIN(bugprone-reserved-identifier, readability-identifier-naming): the linker's and the
// system's The C library's blocks, as our own objects ask for them (ld --wrap).
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_free(void* block);

void* __wrap_malloc(std::size_t size) {
    void* const block = Strikes(kMemory) ? nullptr : __real_malloc(size);
    live += block != nullptr ? 1 : 0;
    return block;
}
void* __wrap_realloc(void* block, std::size_t size) {
    void* const moved = Strikes(kMemory) ? nullptr : __real_realloc(block, size);
    live += block == nullptr && moved != nullptr ? 1 : 0;
    return moved;
}
void __wrap_free(void* block) {
    live -= block != nullptr ? 1 : 0;
    __real_free(block);
}
}

void* operator new(std::size_t size) {
    void* const block = __wrap_malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
void operator delete(void* block) noexcept { __wrap_free(block); }
void operator delete(void* block, std::size_t) noexcept { __wrap_free(block); }

// Files, also as the standard library calls for them.
extern "C" {
FILE* fopen64(const char* name, const char* mode) {
    static auto* const real = Real<FILE*(const char*, const char*)>("fopen64");
    return FileFails() ? nullptr : real(name, mode);
}
int open64(const char* name, int flags, ...) {
    va_list more;
    va_start(more, flags);
    const int mode = va_arg(more, int);
    va_end(more);
    static auto* const real = Real<int(const char*, int, ...)>("open64");
    return FileFails() ? -1 : real(name, flags, mode);
}
ssize_t read(int file, void* bytes, std::size_t size) {
    static auto* const real = Real<ssize_t(int, void*, std::size_t)>("read");
    return FileFails() ? -1 : real(file, bytes, size);
}
off64_t lseek64(int file, off64_t at, int whence) noexcept {
    static auto* const real = Real<off64_t(int, off64_t, int)>("lseek64");
    return FileFails() ? -1 : real(file, at, whence);
}
}
// NOLINTEND(bugprone-reserved-identifier, readability-identifier-naming)
