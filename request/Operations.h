#pragma once

#include "foundation/support/Text.h"

#include <span>

namespace halvane {

class RepWorker;
struct OperationCounts;
struct Request;

// What is checked before a handler runs, in the order of the bits, and how it fails.
enum Check : unsigned {
    kNothing = 0,
    kTradeData = 1, // wait until the platform's trade data is loaded, at most 20 s
    kSession = 2,   // the session is known; its ping time is refreshed
    kParam = 4,     // there is an object "Param"
    kSilent = 8,    // a failure is answered with neither key nor reason
};

using Handler = void (*)(RepWorker& worker, const Request& request);

struct Operation {
    TextView name;
    Handler handler;
    unsigned checks;
    const wchar_t* setting = nullptr; // one that has to be "1", or nothing has this name
};

std::span<const Operation> Operations();

// The operation of that name, compared exactly; null when there is none.
const Operation* FindOperation(TextView name);

// What is counted of it; null counts what was no request or had no known name.
OperationCounts& CountsOf(const Operation* operation);

} // namespace halvane
