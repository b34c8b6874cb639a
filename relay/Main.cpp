#include "foundation/support/Process.h"
#include "foundation/support/Utf.h"
#include "relay/Log.h"
#include "relay/Reader.h"
#include "relay/Relay.h"
#include "relay/Resend.h"

#include <csignal>
#include <cstdio>
#include <pthread.h>

namespace halvane::relay {
namespace {

// Signals are taken by a thread of their own, since a handler could do next to nothing.
class Quit {
  public:
    Quit() {
        sigset_t signals = Signals();
        pthread_sigmask(SIG_BLOCK, &signals, nullptr); // in the threads that come, too
        std::thread([this] {
            sigset_t wanted = Signals();
            int which = 0;
            while (sigwait(&wanted, &which) != 0) {
            }
            source_.request_stop();
        }).detach();
    }

    std::stop_token Token() const { return source_.get_token(); }

  private:
    static sigset_t Signals() {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGINT);
        sigaddset(&signals, SIGTERM);
        return signals;
    }

    std::stop_source source_;
};

int Run(const std::vector<Text>& arguments, const std::stop_token& stop) {
    const Options options = ReadOptions(arguments, ExecutableFolder());
    if (!options.fault.empty()) {
        std::fprintf(stderr, "HalvaneRelay: %s\n\n%s", options.fault.c_str(), kUsage);
        return 2;
    }
    if (options.read)
        Read(options, stop);
    else if (options.resend)
        Resend(options, stop);
    else
        Relay(options).Run(stop);
    return 0;
}

} // namespace
} // namespace halvane::relay

int main(int argc, char** argv) {
    static halvane::relay::Quit quit; // as long as its thread
    std::vector<halvane::Text> arguments;
    for (int i = 1; i < argc; ++i)
        arguments.push_back(halvane::FromUtf8(argv[i]).value_or(L"\xFFFD"));
    try {
        return halvane::relay::Run(arguments, quit.Token());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "HalvaneRelay: %s\n", error.what());
        return 1;
    }
}
