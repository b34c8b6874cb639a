#include "foundation/support/Process.h"

#include "foundation/support/Format.h"

#include <windows.h>

#include <psapi.h>

#include <vector>

namespace halvane {

const wchar_t kPathSeparator = L'\\';

Text ExecutablePath() {
    Text path(MAX_PATH, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), MAX_PATH));
    return path;
}

std::uint32_t CurrentProcessId() { return GetCurrentProcessId(); }
std::uint32_t CurrentThreadId() { return GetCurrentThreadId(); }

std::size_t OpenFileLimit() { return 1 << 24; } // handles of a process

std::uint64_t ResidentBytes() {
    PROCESS_MEMORY_COUNTERS counters{};
    const bool told = GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) != 0;
    return told ? counters.WorkingSetSize : 0;
}

Text FileVersion() {
    const Text path = ExecutablePath();
    DWORD ignored = 0;
    std::vector<char> block(GetFileVersionInfoSizeW(path.c_str(), &ignored));
    VS_FIXEDFILEINFO* info = nullptr;
    UINT length = 0;
    if (block.empty() ||
        !GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(block.size()), block.data()) ||
        !VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &length))
        return {};
    return Format(L"%d.%d.%d.%d", int{HIWORD(info->dwFileVersionMS)},
                  int{LOWORD(info->dwFileVersionMS)}, int{HIWORD(info->dwFileVersionLS)},
                  int{LOWORD(info->dwFileVersionLS)});
}

} // namespace halvane
