#pragma once

#include <functional>

namespace halvane {

// SIGINT and SIGTERM, which ask a program to end; not on Windows. They interrupt neither the thread
// that makes this nor those that it starts afterwards: to be made before there is any other.
class QuitSignals {
  public:
    QuitSignals() noexcept;

    // The first one, also one that has come since this was made, calls `quit` on a thread of its
    // own.
    void Await(std::function<void()> quit);
};

} // namespace halvane
