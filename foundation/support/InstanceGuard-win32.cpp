#include "foundation/support/InstanceGuard.h"

#include <windows.h>

#include <utility>

namespace halvane {

std::optional<InstanceGuard> InstanceGuard::Take(const Text& systemName) {
    const HANDLE handle = CreateMutexW(nullptr, FALSE, (L"Halvane" + systemName).c_str());
    const bool exists = GetLastError() == ERROR_ALREADY_EXISTS;
    if (handle == nullptr) return std::nullopt;
    InstanceGuard guard(reinterpret_cast<std::intptr_t>(handle));
    if (exists) return std::nullopt;
    return guard;
}

bool InstanceGuard::IsHeld(const Text& systemName) {
    const HANDLE handle = OpenMutexW(SYNCHRONIZE, FALSE, (L"Halvane" + systemName).c_str());
    if (handle == nullptr) return GetLastError() == ERROR_ACCESS_DENIED;
    CloseHandle(handle);
    return true;
}

InstanceGuard::InstanceGuard(InstanceGuard&& other) noexcept
    : handle_(std::exchange(other.handle_, -1)) {}

InstanceGuard::~InstanceGuard() {
    if (handle_ != -1) CloseHandle(reinterpret_cast<HANDLE>(handle_));
}

} // namespace halvane
