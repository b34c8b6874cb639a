#include "foundation/support/IniFile.h"

#include <windows.h>

namespace halvane {

Text ReadIniText(const Text& path, const Text& section, const Text& key, const Text& fallback) {
    Text value(1024, L'\0');
    value.resize(GetPrivateProfileStringW(section.c_str(), key.c_str(), fallback.c_str(),
                                          value.data(), static_cast<DWORD>(value.size()),
                                          path.c_str()));
    return value;
}

} // namespace halvane
