#pragma once

#include "foundation/support/Text.h"

#include <cstdint>
#include <optional>

namespace halvane {

// What the platform has told of its lists: how many rows they have, per kind and account mask, and
// whether they are loaded. Written by the publish worker, read by the queries; kept in the
// settings. Safe from any thread.

// Rows of other kinds than those that have a count are none of its business.
void StoreRowCount(std::int32_t kind, TextView accountMask, std::int32_t count);

// Nothing when no count was announced.
std::optional<std::int32_t> RowCount(std::int32_t kind, TextView accountMask);

void SetTradeDataReady();
bool IsTradeDataReady();

// Back to the state before the platform was connected, so that one process can start a second host.
void ForgetTradeData();

} // namespace halvane
