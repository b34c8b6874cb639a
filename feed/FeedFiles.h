#pragma once

#include "foundation/support/Text.h"

#include <cstdint>
#include <vector>

namespace halvane {

// The journal's files: one for each day of the world's time, feed-<yyyy-mm-dd>.sqlite. Not of local
// time: there no day is missing an hour or has one twice, and all gateways agree.

// The day of a moment, "yyyy-mm-dd", in nanoseconds since 1970.
Text DayOf(std::int64_t timeNs);

class FeedFiles {
  public:
    explicit FeedFiles(Text folder) : folder_(std::move(folder)) {}

    bool MakeFolder() const;        // false: there is none
    std::vector<Text> Days() const; // that have a file, from the oldest to the newest
    Text PathOf(const Text& day) const;
    std::int64_t BytesOf(const Text& day) const; // with what SQLite keeps beside it
    bool Remove(const Text& day) const;          // false while somebody reads it, on Windows

  private:
    Text folder_;
};

// One day of the journal, as it was last written.
struct FeedDay {
    Text day;
    std::int64_t first = 0, last = 0; // numbers
    std::int64_t lastTimeNs = 0;
};

} // namespace halvane
