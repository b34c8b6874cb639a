#include "foundation/logger/SystemFile.h"

#include <windows.h>

#include <algorithm>

namespace halvane {
namespace {

HANDLE ToHandle(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

} // namespace

std::uint32_t SystemFile::Open(const Text& path) {
    Close();
    constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    handle_ = reinterpret_cast<std::intptr_t>(
        CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, kShared, nullptr, OPEN_ALWAYS,
                    FILE_ATTRIBUTE_NORMAL, nullptr));
    if (handle_ == -1) return ::GetLastError();
    const LARGE_INTEGER nothing{};
    if (SetFilePointerEx(ToHandle(handle_), nothing, nullptr, FILE_END)) return 0;
    const std::uint32_t error = ::GetLastError();
    Close();
    return error;
}

std::uint32_t SystemFile::Write(std::string_view& bytes) {
    while (!bytes.empty()) {
        const auto size = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), 1u << 30));
        DWORD written = 0;
        const BOOL done = WriteFile(ToHandle(handle_), bytes.data(), size, &written, nullptr);
        bytes.remove_prefix(written);
        if (!done) return ::GetLastError();
        if (written == 0) return ERROR_DISK_FULL;
    }
    return 0;
}

std::int64_t SystemFile::Size() const {
    LARGE_INTEGER size{};
    return GetFileSizeEx(ToHandle(handle_), &size) ? size.QuadPart : -1;
}

void SystemFile::Close() {
    if (handle_ != -1) CloseHandle(ToHandle(handle_));
    handle_ = -1;
}

Text FullPath(const Text& path) {
    Text full(MAX_PATH, L'\0');
    const DWORD length = GetFullPathNameW(path.c_str(), MAX_PATH, full.data(), nullptr);
    if (length == 0 || length >= MAX_PATH) return path;
    full.resize(length);
    return full;
}

} // namespace halvane
