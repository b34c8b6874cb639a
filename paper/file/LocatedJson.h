#pragma once

#include "foundation/support/Text.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace halvane::paper {

enum class JsonKind { Null, Bool, Number, String, Array, Object };

// A value of a JSON document that people write, with the line on which it begins, so that they can
// be told where to look. A number stays as it is written: a decimal is read exactly.
struct LocatedValue {
    JsonKind kind = JsonKind::Null;
    std::int32_t line = 1;
    Text name;                       // in its object, "" elsewhere
    Text text;                       // of a string or a number
    std::vector<LocatedValue> items; // of an array or an object, in order

    // The first member of that name; nullptr when there is none.
    const LocatedValue* Find(TextView member) const;
};

// A document, or why it is none.
struct LocatedJson {
    std::optional<LocatedValue> root;
    std::int32_t line = 1; // of the mistake
    Text mistake;
};

// Reads a document of well-formed UTF-8, with or without a byte-order mark. More than 32 levels
// (whatever walks the tree recurses) and more than a million values count as mistakes.
LocatedJson ReadLocatedJson(const std::string& utf8);

} // namespace halvane::paper
