#include "app/CHalvaneApp.h"
#include "app/QueueLoop.h"
#include "foundation/support/DescriptorLimit.h"
#include "foundation/support/QuitSignals.h"
#include "foundation/support/Utf.h"

#include <csignal>
#include <cstdlib>

namespace {

// Before the thread of the exported library, which is there when main begins.
[[gnu::init_priority(101)]] halvane::QuitSignals quitSignals;

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGXFSZ, SIG_IGN); // a file at its limit costs log lines, not the process
    halvane::RaiseDescriptorLimit();
    std::vector<halvane::Text> arguments;
    for (int i = 1; i < argc; ++i)
        arguments.push_back(halvane::FromUtf8(argv[i]).value_or(L"\xFFFD"));
    halvane::QueueLoop loop;
    quitSignals.Await([&loop] { loop.Quit(0); }); // as the platform's stop command does
    halvane::CHalvaneApp app(loop);
    // Threads may be blocked in the platform: the process ends without waiting for them.
    std::_Exit(app.Run(arguments));
}
