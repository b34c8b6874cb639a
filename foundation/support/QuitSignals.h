#pragma once

#include <functional>

namespace halvane {

// SIGINT and SIGTERM, which ask a program to end. They interrupt neither the thread that makes this
// nor those that it starts afterwards.
class QuitSignals {
  public:
    QuitSignals() noexcept;

    // The first one, also one that has come before, calls `quit` on a thread of its own. They are
    // to be blocked in all threads.
    void Await(std::function<void()> quit);
};

} // namespace halvane
