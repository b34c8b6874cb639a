#pragma once

#include "desk/Server.h"
#include "desk/Watch.h"
#include "foundation/support/Text.h"

#include <string>
#include <vector>

namespace halvane::desk {

struct Options {
    std::vector<Watched> gateways;
    Server::Options server;
    bool open = false; // in a browser
    std::string fault; // why they cannot be used; "" when they can
};

// What the ini file says, and what the command line says instead: gateways there replace all of the
// file's. `arguments` do not include the program, `folder` is the program's, with its separator.
Options ReadOptions(const std::vector<Text>& arguments, const Text& folder);

extern const char* const kUsage;

} // namespace halvane::desk
