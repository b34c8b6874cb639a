#pragma once

#include "app/HostLoop.h"
#include "foundation/support/Guarded.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

namespace halvane {

// A host loop without a window.
class QueueLoop : public HostLoop {
  public:
    void Post(std::function<void()> work) override;
    void Quit(int exitCode) override;
    int Run(std::function<Text()> status, WindowState window) override;

  private:
    std::mutex lock_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> work_ GUARDED_BY(lock_);
    std::optional<int> exitCode_ GUARDED_BY(lock_);
};

} // namespace halvane
