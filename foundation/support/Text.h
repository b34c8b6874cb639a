#pragma once

#include <string>
#include <string_view>

namespace halvane {

// Text inside the process: one UTF-16 code unit per element on every system, also where wchar_t is
// wider. Conversion to and from bytes happens in Utf.h alone.
using Text = std::wstring;
using TextView = std::wstring_view;

} // namespace halvane
