#pragma once

#include "relay/Options.h"

#include <functional>
#include <stop_token>

namespace halvane::relay {

// Prints rows of the stream, each as a line: its subject, its header and its JSON, with tabs
// between; until there are no more, or until it is told to stop. Throws NatsFault.
void Read(const Options& options, const std::stop_token& stop);

// Takes each row of the stream whose subject fits, in order, where `wanted` says from where on and
// what of it; `follow`: also those that come later. Throws NatsFault.
void ForEachRow(const Engine& engine, const std::string& subject, jsSubOptions& wanted, bool follow,
                const std::function<void(natsMsg*)>& take, const std::stop_token& stop);

} // namespace halvane::relay
