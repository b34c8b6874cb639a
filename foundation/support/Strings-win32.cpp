#include "foundation/support/Strings.h"

#include <cstdio>
#include <cwchar>

namespace halvane {

Text FormatV(const wchar_t* format, va_list args) {
    va_list again;
    va_copy(again, args);
    const int length = _vscwprintf(format, again);
    va_end(again);
    if (length < 0) return format;
    Text out(static_cast<std::size_t>(length), L'\0');
    _vsnwprintf(out.data(), out.size() + 1, format, args);
    return out;
}

} // namespace halvane
