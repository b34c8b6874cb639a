#include "doctor/Doctor.h"
#include "foundation/support/Utf.h"

#include <windows.h>

int wmain(int argc, wchar_t** argv) {
    SetErrorMode(SEM_FAILCRITICALERRORS); // a component that cannot be loaded opens no box
    std::vector<std::string> words;
    for (int i = 1; i < argc; i++)
        words.push_back(halvane::ToUtf8(argv[i]));
    const UINT codePage = GetConsoleOutputCP();
    SetConsoleOutputCP(CP_UTF8);
    const int exitCode = halvane::doctor::RunDoctor(words);
    SetConsoleOutputCP(codePage);
    // The component may have threads that still run.
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exitCode));
    return exitCode;
}
