#pragma once

#include "foundation/support/Text.h"

#include <functional>
#include <stop_token>

namespace halvane {

class Feed;

// Gives `take` every report and fill that the platform restores, as it would publish them. False
// when some were left out.
using RestoredReports = std::function<bool(const std::function<void(std::string json)>& take)>;

// Compares what the platform restores with the journal and has appended what is missing there: of
// an order its latest report, of fills each. Nothing is appended twice, be it published while this
// runs. False when not all could be compared; to call it again does no harm. May throw what the
// walk and the journal throw.
[[nodiscard]] bool AppendMissed(Feed& feed, const RestoredReports& walk,
                                const std::stop_token& stop);

} // namespace halvane
