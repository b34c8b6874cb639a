#include "app/CHalvaneApp.h"

#include "app/PlatformChoice.h"
#include "foundation/logger/Log.h"
#include "foundation/support/Clock.h"

namespace halvane {

CHalvaneApp::CHalvaneApp(HostLoop& loop) : loop_(loop), dialog_(loop, MakeTradeApi) {}

int CHalvaneApp::Run(const std::vector<Text>& arguments) {
    constexpr std::uint32_t kFarewellMs = 1000;
    Log().Open(nullptr, ILogger::LL_INFO, ILogger::PRINT_FLAG_FILE);
    const bool up = dialog_.OnInitDialog(arguments);
    const int exitCode = up ? loop_.Run([this] { return dialog_.StatusText(); }) : 0;
    DrainLog();
    UnloadComponents();
    TheClock().Sleep(kFarewellMs); // for what others are still doing
    return exitCode;
}

} // namespace halvane
