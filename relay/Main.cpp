#include "foundation/support/Process.h"
#include "foundation/support/QuitSignals.h"
#include "foundation/support/Utf.h"
#include "relay/Log.h"
#include "relay/Reader.h"
#include "relay/Relay.h"
#include "relay/Resend.h"

#include <cstdio>
#include <stop_token>

namespace halvane::relay {
namespace {

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
    static std::stop_source quit; // as long as the thread that knows of it
    halvane::QuitSignals().Await([] { quit.request_stop(); });
    std::vector<halvane::Text> arguments;
    for (int i = 1; i < argc; ++i)
        arguments.push_back(halvane::FromUtf8(argv[i]).value_or(L"\xFFFD"));
    try {
        return halvane::relay::Run(arguments, quit.get_token());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "HalvaneRelay: %s\n", error.what());
        return 1;
    }
}
