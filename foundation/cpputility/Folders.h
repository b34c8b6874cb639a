#pragma once

#include "foundation/support/Export.h"

#include <string>
#include <vector>

namespace CppUtility {

extern "C" {

// Makes one folder below an existing one. False when the path exists, be it a file; true otherwise,
// also when the folder could not be made.
HALVANE_EXPORT bool CreateFolder(const wchar_t* path);

// Deletes the folder with all that it holds, without asking. True means failure.
HALVANE_EXPORT bool DeleteFolder(const wchar_t* path);

// Adds the names, without folder, of the files and folders that match: "<folder>/*.txt". "*" and
// "?" stand in the last part only, letters match whatever their case, and "*.*" matches all names.
HALVANE_EXPORT void GetFileNameList(const wchar_t* pattern, std::vector<std::wstring>& names);
}

} // namespace CppUtility
