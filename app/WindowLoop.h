#pragma once

#include "app/HostLoop.h"
#include "foundation/support/WorkQueue.h"

struct HWND__;

namespace halvane {

// The main window and its message loop, for Windows. Where there is no desktop to draw on, the same
// window is made without being shown. Closing it quits with exit code 0.
class WindowLoop : public HostLoop {
  public:
    WindowLoop(); // on the thread that is going to run it
    ~WindowLoop() override;

    void Post(std::function<void()> work) override;
    void Quit(int exitCode) override;
    int Run(std::function<Text()> status, WindowState window) override;

    // For the window's procedure.
    void DoPostedWork();
    void ShowStatus();

  private:
    HWND__* window_;
    std::function<Text()> status_;
    std::optional<int> exitCode_; // of the thread that runs the loop alone
    WorkQueue<std::function<void()>> work_;
};

} // namespace halvane
