#include "foundation/support/IniFile.h"

#include "foundation/support/Utf.h"

#include <INIReader.h>

namespace halvane {

Text ReadIniText(const Text& path, const Text& section, const Text& key, const Text& fallback) {
    const INIReader file(ToPath(path).native());
    const std::string value = file.Get(ToUtf8(section), ToUtf8(key), ToUtf8(fallback));
    std::string_view inner = value;
    const bool quoted = inner.size() >= 2 && inner.front() == inner.back() &&
                        (inner.front() == '"' || inner.front() == '\'');
    if (quoted) inner = inner.substr(1, inner.size() - 2); // as the Windows calls do
    return FromUtf8(inner).value_or(fallback);
}

} // namespace halvane
