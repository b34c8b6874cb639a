#pragma once

#include "feed/FeedFiles.h"
#include "feed/FeedRow.h"

#include <optional>
#include <string>
#include <vector>

namespace halvane {

// What somebody wants to read again.
struct ReplayWish {
    std::int64_t from = 1;                    // number
    std::optional<std::int64_t> sinceNs = {}; // instead: the first of that time or later
    std::vector<std::string> kinds = {};      // none: all; gaps come always
    std::string account = {};                 // "": all
};

struct ReplayPage {
    std::vector<FeedRow> rows;
    std::int64_t next = 1; // where to go on
};

inline constexpr std::size_t kReplayPage = 500;

// Reads one page from the files of those days through connections of its own, which keep nobody
// from writing. It looks at a bounded number of rows and bytes, so a page may have few rows, or
// none, and more still follow. Throws a SqliteError.
ReplayPage ReadReplay(const FeedFiles& files, const std::vector<FeedDay>& days,
                      const ReplayWish& wish);

} // namespace halvane
