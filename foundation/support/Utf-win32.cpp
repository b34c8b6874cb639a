#include "foundation/support/Utf.h"

#include <windows.h>

#include <algorithm>

namespace halvane {

std::string ToNarrow(TextView text) {
    const int length = static_cast<int>(text.size());
    const int bytes =
        WideCharToMultiByte(CP_THREAD_ACP, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<std::size_t>(bytes > 0 ? bytes : 0), '\0');
    WideCharToMultiByte(CP_THREAD_ACP, 0, text.data(), length, out.data(), bytes, nullptr, nullptr);
    return out;
}

bool IsNarrow(std::string_view utf8) {
    return std::ranges::all_of(utf8, [](char unit) { return unit >= 0; });
}

std::filesystem::path ToPath(TextView text) { return Text(text); }

Text FromPath(const std::filesystem::path& path) { return path.native(); }

} // namespace halvane
