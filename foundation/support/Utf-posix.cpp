#include "foundation/support/Utf.h"

namespace halvane {

std::string ToNarrow(TextView text) { return ToUtf8(text); }

bool IsNarrow(std::string_view) { return true; }

std::filesystem::path ToPath(TextView text) { return ToUtf8(text); }

// A file name that is not UTF-8 has no text; the replacement character stands for it.
Text FromPath(const std::filesystem::path& path) {
    return FromUtf8(path.native()).value_or(L"\xFFFD");
}

} // namespace halvane
