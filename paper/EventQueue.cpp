#include "paper/EventQueue.h"

#include <utility>

namespace halvane::paper {

EventQueue::EventQueue() : thread_([this](std::stop_token stop) { Run(std::move(stop)); }) {}

void EventQueue::Post(Event event) {
    {
        const std::lock_guard guard(lock_);
        events_.push_back(std::move(event));
    }
    posted_.notify_one();
}

void EventQueue::Hold() {
    const std::lock_guard guard(lock_);
    held_ = true;
}

void EventQueue::Release() {
    {
        const std::lock_guard guard(lock_);
        held_ = false;
    }
    posted_.notify_one();
}

void EventQueue::Run(std::stop_token stop) {
    std::unique_lock guard(lock_);
    while (posted_.wait(guard, stop, [this] { return !held_ && !events_.empty(); }) &&
           !stop.stop_requested()) {
        const Event event = std::move(events_.front());
        events_.pop_front();
        guard.unlock();
        try {
            event();
        } catch (...) {
            // A sink broke its promise: its event is lost, those behind it are not.
        }
        guard.lock();
    }
}

} // namespace halvane::paper
