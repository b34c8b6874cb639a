#pragma once

#include "foundation/support/Clock.h"

#include <cstdint>
#include <set>
#include <string>

namespace halvane {

// Keeps what strangers can cause from filling the log: each thing is said once a minute, and a
// thousand things at most.
class Seldom {
  public:
    bool IsDue(const std::string& thing) {
        constexpr std::uint32_t kMinuteMs = 60'000;
        constexpr std::size_t kMost = 1000;
        const std::uint32_t now = TheClock().TickCount();
        if (now - since_ >= kMinuteMs) said_.clear();
        if (said_.empty()) since_ = now;
        return said_.size() < kMost && said_.insert(thing).second;
    }

  private:
    std::set<std::string> said_;
    std::uint32_t since_ = 0;
};

} // namespace halvane
