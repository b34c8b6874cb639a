#pragma once

#include "clients/cpp/halvane.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace halvane::relay {

inline constexpr const char* kRowHeader = "Halvane-Row";
inline constexpr const char* kBehindHeader = "Halvane-Behind";

// Up to where a desk's feed is in the stream.
struct Position {
    std::int64_t number = 0;
    std::string run = {}, journal = {};
    std::string header = {}; // that says it
};

// A row of a desk's feed on its way into the stream.
struct Row {
    std::size_t desk = 0; // which of those that the relay was given
    std::int64_t number = 0;
    std::int64_t timeNs = 0;
    std::string subject, id, header, json;
    std::string behind = {}; // the header of the row that the desk's feed goes on behind, when that
                             // is not this one
};

// As it is published; `desk` by name for the subject, by index for the relay itself.
Row RowOf(const client::FeedRow& row, std::size_t index, const std::string& desk);

// One that says that there will never be rows from `first` to `last`, in front of `next`. It has
// the number `last`, which none of the feed's rows has.
Row GapBefore(const client::FeedRow& next, std::int64_t first, std::int64_t last, std::size_t index,
              const std::string& desk);

// halvane.feed.<desk>.<kind>.<account>.<symbol> of a topic of the feed. What NATS forbids is
// written %XX, as UTF-8; the symbol keeps its points; "_" stands for nothing.
std::string SubjectOf(const std::string& desk, std::string_view topic);

// What a row's header says: "<number> <run> <time> <origin> <journal>". Nothing when it is none.
std::optional<Position> PositionIn(std::string_view header);

} // namespace halvane::relay
