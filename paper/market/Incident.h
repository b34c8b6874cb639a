#pragma once

#include "foundation/support/Text.h"

#include <cstdint>
#include <optional>

namespace halvane::paper {

// Something that goes wrong on demand, at its time by the market's clock.

enum class IncidentKind {
    DelayAnswers, // orders and lists take `delayMs` of our time longer
    RefuseRows,   // every `every`-th row of a list is refused
    RejectOrders, // every `every`-th new order is rejected
    Disconnect,   // the platform is away; what happens meanwhile is told when it is back
    CloseMarket,  // `exchange` is closed, or all are
    ResetReports, // once: the platform asks its clients to read the reports again
    RollDay,      // once: the market's clock goes on to the next midnight
};

struct Incident {
    IncidentKind kind = IncidentKind::DelayAnswers;
    std::optional<std::int64_t> afterMs; // once, so long after the market's start,
    std::optional<std::int32_t> atMs;    // or on each day, so long after midnight
    std::int64_t forMs = 0;              // how long it lasts; 0 for what happens once
    std::int32_t delayMs = 0;
    std::int32_t every = 1;
    Text exchange; // "": all
};

} // namespace halvane::paper
