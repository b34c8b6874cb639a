#pragma once

#include "relay/Options.h"

#include <stop_token>

namespace halvane::relay {

// Publishes from the gateways' journals the rows that the stream lacks, up to those behind which
// the relay itself goes on; they come last in the stream, with their own numbers. No relay may run
// meanwhile. Throws NatsFault.
void Resend(const Options& options, const std::stop_token& stop);

} // namespace halvane::relay
