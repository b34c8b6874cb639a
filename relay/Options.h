#pragma once

#include "foundation/support/Text.h"
#include "relay/Desk.h"
#include "relay/Nats.h"

#include <string>
#include <vector>

namespace halvane::relay {

struct Options {
    Engine engine;
    std::vector<DeskOptions> desks;
    client::Duration requestPatience{10'000};

    bool read = false; // rows of the stream to standard output, instead of relaying
    std::string subject = "halvane.feed.>"; // of `read`
    bool follow = false;                    // `read` goes on with rows that come later
    bool resend = false;                    // what the stream lacks, instead of relaying
    std::string from;                       // of `read` and `resend`: a number, or a time
    std::string onlyDesk;                   // of `resend`; "" for all

    std::string fault; // why they cannot be used; "" when they can
};

// What the command line says and the ini file that it names, Configs/Relay.ini in `folder` if it
// names none. `arguments` do not include the program.
Options ReadOptions(const std::vector<Text>& arguments, const Text& folder);

// A time of UTC as "2026-11-22T10:31:00Z", in nanoseconds since 1970; nothing when it is none.
std::optional<std::int64_t> TimeNsOf(const std::string& text);

// A number of decimal digits alone; nothing when it is none.
std::optional<std::int64_t> NumberOf(const std::string& text);

extern const char* const kUsage;

} // namespace halvane::relay
