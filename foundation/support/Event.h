#pragma once

#include "foundation/support/Text.h"

#include <cstdint>
#include <optional>
#include <stop_token>

namespace halvane {

// A manual-reset event that all who use the same name share: on Windows throughout the session,
// elsewhere in this process. It is gone, signal and all, when the last who holds it lets it go.
// Safe from any thread.
class NamedEvent {
  public:
    struct State; // of the system

    // Opens the event of that name or makes one that is not signalled. Nothing when the system
    // refuses the name.
    static std::optional<NamedEvent> Open(const Text& name);

    ~NamedEvent();
    NamedEvent(NamedEvent&& other) noexcept;
    NamedEvent(const NamedEvent&) = delete;
    NamedEvent& operator=(const NamedEvent&) = delete;

    void Signal();

    // False when the time is over, or a stop was requested, before the event was signalled.
    bool Wait(std::uint32_t timeoutMs, std::stop_token stop = {});

  private:
    explicit NamedEvent(State* state) : state_(state) {}
    bool IsSignalled();

    State* state_;
};

} // namespace halvane
