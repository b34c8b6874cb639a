#include "foundation/support/Text.h"

#include <windows.h>

#include <cstdio>

// ShownWindow.exe FILE: says how the main window of the program with that file name is shown.

namespace {

halvane::Text ProgramOf(HWND window) {
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    const HANDLE handle = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process);
    wchar_t path[512] = L"";
    DWORD length = 512;
    QueryFullProcessImageNameW(handle, 0, path, &length);
    CloseHandle(handle);
    return path;
}

struct Search {
    halvane::Text program;
    HWND found;
};

BOOL CALLBACK Look(HWND window, LPARAM parameter) {
    auto& search = *reinterpret_cast<Search*>(parameter);
    const bool ours = IsWindowVisible(window) && ProgramOf(window).ends_with(search.program);
    if (ours) search.found = window;
    return !ours;
}

} // namespace

extern "C" int wmain(int, wchar_t** words) {
    Search search{halvane::Text(L"\\") + words[1], nullptr};
    EnumWindows(Look, reinterpret_cast<LPARAM>(&search));
    if (search.found == nullptr) return 1;
    std::puts(IsIconic(search.found) ? "minimised" : "open");
    return 0;
}
