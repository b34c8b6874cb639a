#pragma once

#include "paper/orders/Ticket.h"

namespace halvane {
class PaperParameters;
}

namespace halvane::paper {

// What a client has put into the parameters of an order. `kind` is one of OrderKind.
Ticket ReadTicket(std::int32_t kind, const PaperParameters& parameters);

Replacement ReadReplacement(const PaperParameters& parameters);

} // namespace halvane::paper
