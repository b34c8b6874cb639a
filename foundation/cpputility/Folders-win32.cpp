#include "foundation/cpputility/Folders.h"

#include <windows.h>

#include <shellapi.h>

namespace CppUtility {

bool DeleteFolder(const wchar_t* path) {
    std::wstring list = path;
    list.push_back(L'\0'); // a list of paths ends with a second zero
    SHFILEOPSTRUCTW operation{};
    operation.wFunc = FO_DELETE;
    operation.pFrom = list.c_str();
    operation.fFlags = FOF_SILENT | FOF_NOCONFIRMATION | FOF_NOERRORUI;
    return SHFileOperationW(&operation) != 0;
}

void GetFileNameList(const wchar_t* pattern, std::vector<std::wstring>& names) {
    WIN32_FIND_DATAW entry;
    const HANDLE search = FindFirstFileW(pattern, &entry);
    if (search == INVALID_HANDLE_VALUE) return;
    do {
        const std::wstring name = entry.cFileName;
        if (name != L"." && name != L"..") names.push_back(name);
    } while (FindNextFileW(search, &entry));
    FindClose(search);
}

} // namespace CppUtility
