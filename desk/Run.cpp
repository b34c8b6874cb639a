#include "desk/Run.h"

#include "desk/Options.h"
#include "desk/System.h"
#include "foundation/support/Process.h"

#include <boost/asio/signal_set.hpp>

#include <csignal>
#include <cstdio>
#include <memory>

namespace halvane::desk {
namespace {

void Serve(const Options& options) {
    boost::asio::io_context context(1);
    boost::asio::signal_set quit(context, SIGINT, SIGTERM);
    quit.async_wait([&context](boost::system::error_code, int) { context.stop(); });
    std::vector<std::unique_ptr<Watch>> watches;
    for (const Watched& watched : options.gateways)
        watches.push_back(std::make_unique<Watch>(static_cast<int>(watches.size()), watched));
    Server server(context, options.server, watches);
    std::printf("The desk page is at %s\n", server.Url().c_str());
    std::fflush(stdout);
    if (options.open && !OpenInBrowser(server.Url()))
        std::fprintf(stderr, "no browser could be opened; please do it by hand\n");
    context.run();
    watches.clear(); // what they still have to say finds the server
}

} // namespace

int Run(const std::vector<Text>& arguments) {
    const Options options = ReadOptions(arguments, ExecutableFolder());
    if (!options.fault.empty()) {
        std::fprintf(stderr, "HalvaneDesk: %s\n\n%s", options.fault.c_str(), kUsage);
        return 2;
    }
    try {
        Serve(options);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "HalvaneDesk: %s\n", error.what());
        return 1;
    }
}

} // namespace halvane::desk
