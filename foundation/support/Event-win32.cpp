#include "foundation/support/Event.h"

#include <windows.h>

namespace halvane {

struct NamedEvent::State {}; // stands for the system's handle

std::optional<NamedEvent> NamedEvent::Open(const Text& name) {
    const HANDLE handle = CreateEventW(nullptr, TRUE, FALSE, name.c_str());
    if (handle == nullptr) return std::nullopt;
    return NamedEvent(reinterpret_cast<State*>(handle));
}

NamedEvent::~NamedEvent() {
    if (state_ != nullptr) CloseHandle(state_);
}

void NamedEvent::Signal() { SetEvent(state_); }

bool NamedEvent::IsSignalled() { return WaitForSingleObject(state_, 0) == WAIT_OBJECT_0; }

} // namespace halvane
