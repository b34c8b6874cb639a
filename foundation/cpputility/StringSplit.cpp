#include "foundation/cpputility/StringSplit.h"

#include "foundation/support/Strings.h"

namespace CppUtility {

void StringSplit(const wchar_t* text, wchar_t separator, std::vector<std::wstring>& fields) {
    for (const halvane::TextView field : halvane::Split(text, separator))
        fields.emplace_back(field);
}

} // namespace CppUtility
