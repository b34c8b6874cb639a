#include "app/QueueLoop.h"

namespace halvane {

void QueueLoop::Post(std::function<void()> work) {
    const std::lock_guard guard(lock_);
    work_.push_back(std::move(work));
    changed_.notify_one();
}

void QueueLoop::Quit(int exitCode) {
    Post([this, exitCode] {
        const std::lock_guard guard(lock_);
        exitCode_ = exitCode;
    });
}

int QueueLoop::Run(std::function<Text()>, WindowState) {
    std::unique_lock guard(lock_);
    while (!exitCode_) {
        changed_.wait(guard, [this] { return !work_.empty(); });
        const std::function<void()> next = std::move(work_.front());
        work_.pop_front();
        guard.unlock();
        next();
        guard.lock();
    }
    return *exitCode_;
}

} // namespace halvane
