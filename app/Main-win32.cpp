#include "app/CHalvaneApp.h"
#include "app/WindowLoop.h"

#include <windows.h>

#include <shellapi.h>

#include <cstdlib>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    SetErrorMode(SEM_FAILCRITICALERRORS); // nobody may be there to close a box of the system's
    std::vector<halvane::Text> arguments;
    int count = 0;
    wchar_t** words = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int i = 1; i < count; ++i)
        arguments.emplace_back(words[i]);
    LocalFree(words);
    halvane::WindowLoop loop;
    halvane::CHalvaneApp app(loop);
    // Threads may be blocked in the platform: the process ends without waiting for them.
    std::_Exit(app.Run(arguments));
}
