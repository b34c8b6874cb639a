#pragma once

#include "foundation/support/Text.h"

#include <cstdint>
#include <optional>

namespace halvane {

// What the platform calls. Calls come on a thread of the platform's own, one after the other, also
// during start-up and from inside a call that Halvane makes. A sink never throws.

// The trade API object's own events, for the host.
class HostEvents {
  public:
    virtual ~HostEvents() = default;

    virtual void OnGeneralServiceUpdate() = 0;
    virtual void OnCommandMsg(std::int32_t kind, std::int32_t subKind, TextView text) = 0;
};

// The trade events, for the publish worker.
class TradeEvents {
  public:
    virtual ~TradeEvents() = default;

    virtual void OnAccountUpdate(std::int32_t kind, TextView key, std::int32_t value) = 0;
    virtual void OnCommandMsg(std::int32_t kind, std::int32_t subKind, TextView text) = 0;
    virtual void OnExecutionReport(TextView reportId) = 0;
    virtual void OnFilledReport(TextView reportId) = 0;
    virtual void OnReportReset() = 0;
    virtual void OnSetTopic(TextView topic, std::int32_t lParam, TextView strParam,
                            const std::optional<Text>& data) = 0; // nothing: data is no string
    virtual void OnPositionTracker() = 0;
};

} // namespace halvane
