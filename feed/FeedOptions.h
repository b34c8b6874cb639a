#pragma once

#include "foundation/support/Text.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace halvane {

// What Configs/Feed.ini says.
struct FeedOptions {
    Text folder;                // of the journal's files, with a separator at its end
    int port = 0;               // of the feed; 0: drawn at random
    bool syncEachCommit = true; // a power cut then loses nothing that is on the feed
    int keepDays = 30;
    std::int64_t keepBytes = 0; // 0: whatever keepDays holds
    std::size_t queueBytes = std::size_t{64} << 20;
    int subscriberRows = 10'000; // that wait for each subscriber; not in the file
};

// Nothing when the file does not turn the feed on. A value that cannot be used is logged and the
// key's default taken.
std::optional<FeedOptions> ReadFeedOptions(const Text& iniPath);

} // namespace halvane
