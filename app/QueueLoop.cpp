#include "app/QueueLoop.h"

namespace halvane {

void QueueLoop::Post(std::function<void()> work) { work_.Post(std::move(work)); }

void QueueLoop::Quit(int exitCode) {
    Post([this, exitCode] { exitCode_ = exitCode; });
}

int QueueLoop::Run(std::function<Text()>, WindowState) {
    while (!exitCode_)
        (*work_.Next())();
    return *exitCode_;
}

} // namespace halvane
