#pragma once

#include <compare>
#include <string>
#include <string_view>

namespace halvane {

// What the feed has to know of a publication, read from its JSON (UTF-8). Off the publisher's
// thread: it is handed over as it was sent and looked at by the feed's own.

struct Route {
    std::string kind;    // its DataType
    std::string account; // "" where there is none, or more than one
    std::string symbol;
};

Route RouteOf(std::string_view json);

// "<kind>.<account>.<symbol>". A point or a percent sign in an account is written %2E or %25, so
// that "FILLEDREPORT.A1." is the fills of account A1 and of no other; the symbol, which is last,
// stays as it is.
std::string TopicOf(const Route& route);

// What tells a fill, or one state of one order, from all others: the same for the publication that
// was sent when it happened and for what the platform restores of it later. "" for everything else,
// and for reports without identity.
std::string RecordKey(std::string_view json);

// When such a thing happened, by the platform's clock; orders them.
struct RecordTime {
    int date = 0; // yyyymmdd
    int time = 0; // hhmmssmmm

    auto
    operator<=>(const RecordTime&) const = default; // NOLINT(modernize-use-nullptr): it sees a 0
};
RecordTime TimeOfRecord(std::string_view key);

} // namespace halvane
