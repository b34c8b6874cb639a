#include "paper/EventQueue.h"

namespace halvane::paper {

EventQueue::EventQueue() : thread_([this](const std::stop_token& stop) { Run(stop); }) {}

void EventQueue::Run(const std::stop_token& stop) {
    while (const auto event = events_.Next(stop)) {
        try {
            (*event)();
        } catch (...) {
            // A sink broke its promise: its event is lost, those behind it are not.
        }
    }
}

} // namespace halvane::paper
