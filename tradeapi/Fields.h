#pragma once

#include "foundation/support/JsonWriter.h"

#include <cstdint>
#include <span>

namespace halvane {

class Item;
class TradeApi;

// A record is a table of fields: key, source, written form, and for a record with two forms the
// restored one. WriteRecord is the only loop over them.

// What the caller knows of one row, for the fields that no property holds.
struct RowTexts {
    TradeApi* tradeApi = nullptr; // for tables with an instrument
    Text symbol = {};
    Text qryIndex = {};
};

// Where a value comes from.
struct Source {
    enum class Kind : std::uint8_t {
        Str,        // property, text
        Int,        // property, 32-bit integer
        Int64,      // property, 64-bit integer
        Named,      // read by name, text
        NamedInt,   // read by name, text of a 32-bit integer
        NamedInt64, // read by name, text of a 64-bit integer
        Joined,     // two text properties with "-" between
        Given,      // worked out by the caller
        Instrument, // the platform's name for the row's symbol, asked for when its turn comes
        UserKeys,   // two text properties that become several members
    };
    Kind kind;
    std::int32_t id = 0;
    std::int32_t second = 0;
    TextView name = {}; // where it is not the key
    Text RowTexts::*given = nullptr;
};

consteval Source Str(int id) { return {.kind = Source::Kind::Str, .id = id}; }
consteval Source Int(int id) { return {.kind = Source::Kind::Int, .id = id}; }
consteval Source Int64(int id) { return {.kind = Source::Kind::Int64, .id = id}; }
consteval Source Named(TextView name = {}) { return {.kind = Source::Kind::Named, .name = name}; }
consteval Source NamedInt() { return {.kind = Source::Kind::NamedInt}; }
consteval Source NamedInt64(TextView name = {}) {
    return {.kind = Source::Kind::NamedInt64, .name = name};
}
consteval Source Joined(int id, int second) {
    return {.kind = Source::Kind::Joined, .id = id, .second = second};
}
consteval Source Given(Text RowTexts::*given) {
    return {.kind = Source::Kind::Given, .given = given};
}
consteval Source Instrument() { return {.kind = Source::Kind::Instrument}; }
consteval Source UserKeys(int id, int second) {
    return {.kind = Source::Kind::UserKeys, .id = id, .second = second};
}

// How a value becomes text.
enum class Write : std::uint8_t {
    Default,      // texts as they are, integers as Long; restored: as published
    AsIs,         // text
    Long,         // 32-bit integer, "" for the mark of a missing value
    RawLong,      // 32-bit integer without that mark
    Amount,       // 64-bit, FormatFixedPoint in the mode of that name
    Price,        // 64-bit, the same
    AveragePrice, // 64-bit, the same
    SixDecimals,  // 64-bit, units of 1e-10, six decimals
    Absent,       // not a member of this form
};

enum class Form : std::uint8_t { Published, Restored };

struct Field {
    JsonKey key;
    Source source;
    Write published = Write::Default;
    Write restored = Write::Default;

    constexpr Write Written(Form form) const;
};

// Reads every field of the form from the item, in order, and writes it as a member of the object
// that is open. Throws what the item throws.
void WriteRecord(JsonWriter& out, std::span<const Field> fields, Form form, Item& item,
                 const RowTexts& row = {});

constexpr Write Field::Written(Form form) const {
    const Write written =
        form == Form::Restored && restored != Write::Default ? restored : published;
    if (written != Write::Default) return written;
    const bool integer = source.kind == Source::Kind::Int || source.kind == Source::Kind::NamedInt;
    return integer ? Write::Long : Write::AsIs;
}

// True when a value of this kind can be written so.
consteval bool Fits(Source::Kind kind, Write written) {
    switch (written) {
    case Write::Absent: return true;
    case Write::Long:
    case Write::RawLong: return kind == Source::Kind::Int || kind == Source::Kind::NamedInt;
    case Write::Amount:
    case Write::Price:
    case Write::AveragePrice:
    case Write::SixDecimals: return kind == Source::Kind::Int64 || kind == Source::Kind::NamedInt64;
    default:
        return kind != Source::Kind::Int && kind != Source::Kind::NamedInt &&
               kind != Source::Kind::Int64 && kind != Source::Kind::NamedInt64;
    }
}

// For static_assert behind a table: a text that is written as a number does not compile.
consteval bool Fits(std::span<const Field> fields) {
    for (const Field& field : fields) {
        if (!Fits(field.source.kind, field.Written(Form::Published)) ||
            !Fits(field.source.kind, field.Written(Form::Restored)))
            return false;
    }
    return true;
}

} // namespace halvane
