#pragma once

#include "foundation/support/Text.h"

#include <functional>

namespace halvane {

// A person who starts the program wants to see it; the platform starts it beside other work.
enum class WindowState { Open, Minimised };

// The host's thread: work that comes from other threads is done on it, one piece after the other.
// On Windows it is the message loop of the main window.
class HostLoop {
  public:
    virtual ~HostLoop() = default;

    // Safe from any thread, also before Run.
    virtual void Post(std::function<void()> work) = 0;

    // Makes Run return that exit code, once the work before it is done. Safe from any thread.
    virtual void Quit(int exitCode) = 0;

    // Does the posted work until told to quit. Where there is a window, it comes up like this and
    // shows what `status` gives.
    virtual int Run(std::function<Text()> status, WindowState window) = 0;
};

} // namespace halvane
