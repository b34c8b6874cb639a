#include "app/CHalvaneApp.h"
#include "app/QueueLoop.h"
#include "foundation/support/DescriptorLimit.h"
#include "foundation/support/Utf.h"

#include <semaphore.h>
#include <signal.h>

#include <csignal>
#include <cstdlib>
#include <thread>

namespace {

sem_t quitSignals;

// SIGINT and SIGTERM end the process as the platform's stop command does. Any thread may be given a
// signal; the handler does the little that it may, and a thread of its own the rest.
void QuitOnSignals(halvane::HostLoop& loop) {
    sem_init(&quitSignals, 0, 0);
    struct sigaction action {};
    action.sa_handler = [](int) { sem_post(&quitSignals); };
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    std::thread([&loop] {
        while (sem_wait(&quitSignals) != 0) {
        }
        loop.Quit(0);
    }).detach();
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGXFSZ, SIG_IGN); // a file at its limit costs log lines, not the process
    halvane::RaiseDescriptorLimit();
    std::vector<halvane::Text> arguments;
    for (int i = 1; i < argc; ++i)
        arguments.push_back(halvane::FromUtf8(argv[i]).value_or(L"\xFFFD"));
    halvane::QueueLoop loop;
    QuitOnSignals(loop);
    halvane::CHalvaneApp app(loop);
    // Threads may be blocked in the platform: the process ends without waiting for them.
    std::_Exit(app.Run(arguments));
}
