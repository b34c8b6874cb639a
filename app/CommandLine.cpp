#include "app/CommandLine.h"

#include "foundation/logger/Log.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Settings.h"

#include <numeric>

namespace halvane {

bool ParseCommandLine(const std::vector<Text>& arguments) {
    if (arguments.size() < 3) return false;
    SetSetting(L"HostAddress", arguments[0]);
    SetSetting(L"SystemName", arguments[1]);
    SetSetting(L"ServiceKey", arguments[2]);
    if (arguments.size() >= 5) {
        SetSetting(L"ContractName", arguments[3]);
        Log().Info(L"ContractName:%s", arguments[3]);
    }
    if (arguments.size() >= 4) SetSetting(L"SubTopic", arguments[arguments.size() == 4 ? 3 : 4]);
    SetSetting(L"RepPort", DecimalText(RequestPortOf(arguments[1])));
    return true;
}

int RequestPortOf(TextView systemName) {
    const Text text = Text(systemName) + L"-Trade";
    const int port = std::accumulate(text.begin(), text.end(), 50000, [](int sum, wchar_t unit) {
        return sum + static_cast<int>(unit);
    });
    return port >= 60000 ? port - 10000 : port; // once: a long name stays above
}

} // namespace halvane
