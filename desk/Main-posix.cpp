#include "desk/Run.h"
#include "foundation/support/Utf.h"

#include <csignal>

int main(int argc, char** argv) {
    std::signal(SIGCHLD, SIG_IGN); // nobody waits for the browser
    std::vector<halvane::Text> arguments;
    for (int i = 1; i < argc; ++i)
        arguments.push_back(halvane::FromUtf8(argv[i]).value_or(L"\xFFFD"));
    return halvane::desk::Run(arguments);
}
