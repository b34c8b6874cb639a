#include "foundation/support/Process.h"

#include <windows.h>

// Linked into the program, where every function of the automation binding calls the first of these
// when it is entered. The number of entries is a file beside the program, Entered.bin, which the
// process has in its memory: so it is right at any time and however the process ends.

namespace {

volatile LONG64& TheCount() {
    static volatile LONG64* const count = [] {
        const halvane::Text path = halvane::ExecutableFolder() + L"Entered.bin";
        const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ,
                                        nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        const HANDLE mapping =
            CreateFileMappingW(file, nullptr, PAGE_READWRITE, 0, sizeof(LONG64), nullptr);
        return static_cast<LONG64*>(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, sizeof(LONG64)));
    }();
    return *count;
}

// The file is there also when nothing is ever entered; the binding's own initialisers, which may
// come before this one, count like the rest of it.
const bool counting = TheCount() >= 0;

} // namespace

extern "C" void __cyg_profile_func_enter(void*, void*) { InterlockedIncrement64(&TheCount()); }
extern "C" void __cyg_profile_func_exit(void*, void*) {}
