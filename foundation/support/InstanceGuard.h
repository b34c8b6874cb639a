#pragma once

#include "foundation/support/Text.h"

#include <cstdint>
#include <optional>

namespace halvane {

// Holds the right to be the one process for a system name, until it is destroyed or the process
// ends.
class InstanceGuard {
  public:
    // Nothing when another process holds it or the system refuses the name.
    static std::optional<InstanceGuard> Take(const Text& systemName);

    // Whether some process holds it, without trying to take it.
    static bool IsHeld(const Text& systemName);

    ~InstanceGuard();
    InstanceGuard(InstanceGuard&& other) noexcept;
    InstanceGuard(const InstanceGuard&) = delete;
    InstanceGuard& operator=(const InstanceGuard&) = delete;

  private:
    explicit InstanceGuard(std::intptr_t handle) : handle_(handle) {}

    std::intptr_t handle_; // of the system; -1 for none
};

} // namespace halvane
