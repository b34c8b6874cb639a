#pragma once

#include "foundation/support/Export.h"

#include <string>
#include <vector>

namespace CppUtility {

// Adds the fields of the text to the array: at least one, and fields may be empty.
extern "C" HALVANE_EXPORT void StringSplit(const wchar_t* text, wchar_t separator,
                                           std::vector<std::wstring>& fields);

} // namespace CppUtility
