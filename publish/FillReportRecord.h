#pragma once

#include "tradeapi/Fields.h"

namespace halvane {

// One match of an order: published when it happens, restored page by page. Read from an item of
// class Fill, which numbers its properties in a way of its own; the price in units of 1e-10.
std::span<const Field> FillReportFields();

} // namespace halvane
