#pragma once

#include "foundation/support/Text.h"

#include <cstdarg>
#include <optional>
#include <vector>

namespace halvane {

// The C library's wide printf as Windows knows it, on every system: "%s" takes wide text, "%I64d" a
// 64-bit integer. The result may have any length. For others' formats; Format.h is for our own.
Text FormatV(const wchar_t* format, va_list args);

// The parts of `text` between separators; always at least one, parts may be empty.
std::vector<TextView> Split(TextView text, wchar_t separator);

// Part number `index` (from 0) of `text` cut at the separator; nothing when there are fewer parts.
std::optional<TextView> SplitField(TextView text, wchar_t separator, std::size_t index);

// Replaces every occurrence; what was put in is not looked at again. An empty `from` changes
// nothing.
Text ReplaceAll(TextView text, TextView from, TextView to);

// Equality that takes ASCII letters alike, whatever their case.
bool EqualsIgnoringCase(TextView a, TextView b);

} // namespace halvane
