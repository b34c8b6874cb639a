#include "desk/System.h"

#include <spawn.h>
#include <unistd.h>

namespace halvane::desk {

const bool kReuseAddress = true;

bool OpenInBrowser(const std::string& url) {
    std::string program = "xdg-open";
    std::string argument = url;
    char* const words[] = {program.data(), argument.data(), nullptr};
    pid_t child = 0;
    return posix_spawnp(&child, program.c_str(), nullptr, nullptr, words, environ) == 0;
}

} // namespace halvane::desk
