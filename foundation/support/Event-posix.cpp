#include "foundation/support/Event.h"

#include "foundation/support/Mutex.h"

#include <map>
#include <utility>

namespace halvane {

struct NamedEvent::State {
    Text name;
    int holders = 0;
    bool signalled = false;
};

namespace {

struct Registry {
    Mutex lock;
    std::map<Text, NamedEvent::State> events GUARDED_BY(lock);
};

Registry& TheRegistry() {
    static Registry registry;
    return registry;
}

} // namespace

std::optional<NamedEvent> NamedEvent::Open(const Text& name) {
    Registry& registry = TheRegistry();
    const MutexLock guard(registry.lock);
    Text copy = name; // before there is a state, which would be left without a holder
    State& state = registry.events[name];
    state.name = std::move(copy);
    ++state.holders;
    return NamedEvent(&state);
}

NamedEvent::~NamedEvent() {
    if (state_ == nullptr) return;
    Registry& registry = TheRegistry();
    const MutexLock guard(registry.lock);
    if (--state_->holders == 0) registry.events.erase(registry.events.find(state_->name));
}

void NamedEvent::Signal() {
    const MutexLock guard(TheRegistry().lock);
    state_->signalled = true;
}

bool NamedEvent::IsSignalled() {
    const MutexLock guard(TheRegistry().lock);
    return state_->signalled;
}

} // namespace halvane
