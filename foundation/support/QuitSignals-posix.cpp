#include "foundation/support/QuitSignals.h"

#include <csignal>
#include <pthread.h>
#include <thread>

namespace halvane {
namespace {

sigset_t TheSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

} // namespace

QuitSignals::QuitSignals() noexcept {
    const sigset_t signals = TheSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

// A handler would run on any thread, be it one that is about to end, and might do next to nothing:
// a thread waits for the signals instead.
void QuitSignals::Await(std::function<void()> quit) {
    std::thread([quit = std::move(quit)] {
        const sigset_t signals = TheSignals();
        int which = 0;
        while (sigwait(&signals, &which) != 0) {
        }
        quit();
    }).detach();
}

} // namespace halvane
