#pragma once

#include "app/HostLoop.h"
#include "foundation/support/WorkQueue.h"

namespace halvane {

// A host loop without a window.
class QueueLoop : public HostLoop {
  public:
    void Post(std::function<void()> work) override;
    void Quit(int exitCode) override;
    int Run(std::function<Text()> status, WindowState window) override;

  private:
    WorkQueue<std::function<void()>> work_;
    std::optional<int> exitCode_; // of the thread that runs the loop alone
};

} // namespace halvane
