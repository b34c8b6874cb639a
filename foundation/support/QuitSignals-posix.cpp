#include "foundation/support/QuitSignals.h"

#include <csignal>
#include <pthread.h>
#include <thread>

namespace halvane {
namespace {

sigset_t QuitSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

// Each thread inherits this: it happens before there is any other, and some start before main.
[[gnu::constructor(101)]] void BlockQuitSignals() {
    const sigset_t signals = QuitSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

} // namespace

// A handler would run on any thread, be it one that is about to end, and might do next to nothing:
// a thread waits for the signals instead.
void OnQuitSignals(std::function<void()> quit) {
    std::thread([quit = std::move(quit)] {
        const sigset_t signals = QuitSignals();
        int which = 0;
        while (sigwait(&signals, &which) != 0) {
        }
        quit();
    }).detach();
}

} // namespace halvane
