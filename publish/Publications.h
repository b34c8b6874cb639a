#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace halvane {

// What this process has published since its start, for whoever watches the gateway. Safe from any
// thread.

struct PublicationCount {
    std::string_view dataType;
    std::uint64_t count;
};

// Counts a whole document, by its first member, "DataType".
void CountPublication(std::string_view document);

// Of every kind of which there was one.
std::vector<PublicationCount> PublicationCounts();

// The platform has told something just now.
void NotePlatformEvent();

// When it last did, in ms since 1970 UTC; 0 before its first word.
std::int64_t LastPlatformEventMs();

} // namespace halvane
