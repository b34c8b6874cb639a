#pragma once

#include "foundation/support/Text.h"

namespace halvane {

class RepWorker;
struct Request;

// What is checked before a handler runs, in the order of the bits, and how it fails.
enum Check : unsigned {
    kNothing = 0,
    kTradeData = 1, // wait until the platform's trade data is loaded, at most 20 s
    kSession = 2,   // the session is known; its ping time is refreshed
    kParam = 4,     // there is an object "Param"
    kSilent = 8,    // a failure is answered with neither key nor reason
    kFeed = 16,     // the feed is on; otherwise there is no such operation
};

using Handler = void (*)(RepWorker& worker, const Request& request);

struct Operation {
    const wchar_t* name;
    Handler handler;
    unsigned checks;
};

// The operation of that name, compared exactly; null when there is none.
const Operation* FindOperation(TextView name);

} // namespace halvane
