#include "desk/Run.h"

#include <windows.h>

#include <shellapi.h>

int main() {
    std::vector<halvane::Text> arguments;
    int count = 0;
    wchar_t** words = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int i = 1; i < count; ++i)
        arguments.emplace_back(words[i]);
    LocalFree(words);
    return halvane::desk::Run(arguments);
}
