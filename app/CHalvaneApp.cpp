#include "app/CHalvaneApp.h"

#include "app/PlatformChoice.h"
#include "foundation/logger/Log.h"
#include "foundation/support/Clock.h"
#include "foundation/support/Settings.h"

#include <chrono>
#include <thread>

namespace halvane {
namespace {

constexpr std::chrono::seconds kPatience{2};
constexpr std::uint32_t kFarewellMs = 1000;

} // namespace

CHalvaneApp::CHalvaneApp(HostLoop& loop) : loop_(loop), dialog_(loop, MakeTradeApi) {}

int CHalvaneApp::Run(const std::vector<Text>& arguments) {
    TheLogger().Open(nullptr, ILogger::LL_INFO, ILogger::PRINT_FLAG_FILE);
    int exitCode = 0;
    if (dialog_.OnInitDialog(arguments)) {
        const bool paper = IsPaper(GetSetting(L"HostAddress"));
        exitCode = loop_.Run([this] { return dialog_.StatusText(); },
                             paper ? WindowState::Open : WindowState::Minimised);
    } else {
        LogWhereHelpIs();
    }
    DrainLog();
    ForgiveComponentFaults();
    if (LetGoOfPlatform()) UnloadComponents();
    TheClock().Sleep(kFarewellMs); // for what others are still doing
    return exitCode;
}

// False when a handler is blocked in the platform: nobody waits for it, and what it uses stays.
bool CHalvaneApp::LetGoOfPlatform() {
    std::thread([this] {
        dialog_.LetGoOfPlatform();
        platformGone_.set_value();
    }).detach();
    return platformGone_.get_future().wait_for(kPatience) == std::future_status::ready;
}

} // namespace halvane
