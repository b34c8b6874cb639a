#pragma once

#include "foundation/support/Clock.h"

#include <functional>
#include <optional>
#include <utility>

namespace halvane {

// Tells of what strangers can make happen as often as they like: half a second after the first time
// how often it was, and then once a minute at most. For one thread, which asks it now and then.
class Teller {
  public:
    explicit Teller(std::function<void(int times)> tell) : tell_(std::move(tell)) {}

    void Count() {
        if (untold_++ > 0) return;
        since_ = TheClock().TickCount();
        waitMs_ = told_ && since_ - *told_ < kSilenceMs ? kSilenceMs : kBurstMs;
    }
    void TellWhenDue() {
        if (untold_ == 0 || TheClock().TickCount() - since_ < waitMs_) return;
        tell_(std::exchange(untold_, 0));
        told_ = TheClock().TickCount();
    }

    static constexpr std::uint32_t kBurstMs = 500;

  private:
    static constexpr std::uint32_t kSilenceMs = 60'000;

    std::function<void(int)> tell_;
    int untold_ = 0;
    std::uint32_t since_ = 0; // when the first of these came
    std::uint32_t waitMs_ = 0;
    std::optional<std::uint32_t> told_;
};

} // namespace halvane
