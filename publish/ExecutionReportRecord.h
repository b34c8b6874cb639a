#pragma once

#include "tradeapi/Fields.h"

namespace halvane {

// The state of one order: published when it changes, restored page by page. Read from an item of
// class ExecutionReport; prices in units of 1e-10.
std::span<const Field> ExecutionReportFields();

} // namespace halvane
