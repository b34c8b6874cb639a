#pragma once

#include "foundation/support/Text.h"

#include <cstddef>
#include <cstdint>

namespace halvane {

// What the operating system says of this process. Safe from any thread.

// The full path of the executable, at most 260 characters of it on Windows.
Text ExecutablePath();

// The folder of the executable, with the separator at its end.
Text ExecutableFolder();

std::uint32_t CurrentProcessId();
std::uint32_t CurrentThreadId();

// How many files and sockets the process may have open at once.
std::size_t OpenFileLimit();

// How much of its memory lies in the machine's; 0 where the system does not say.
std::uint64_t ResidentBytes();

// The executable's file version, four numbers with points between; "" when it carries none.
Text FileVersion();

// The separator of this system's paths.
extern const wchar_t kPathSeparator;

} // namespace halvane
