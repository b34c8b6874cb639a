#include "app/Options.h"

#include "foundation/logger/Log.h"
#include "foundation/support/IniFile.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Process.h"
#include "foundation/support/Settings.h"

#include <algorithm>

namespace halvane {
namespace {

constexpr const wchar_t* kDays = L"1 to 36500";
constexpr std::int32_t kMostDays = 36500;

struct Option {
    const wchar_t* key;
    const wchar_t* value; // the one that means something, or kDays
};

// clang-format off
constexpr Option kOptions[] = {
    {L"Status",                L"1"},
    {L"RefuseUnknownFirst",    L"1"},
    {L"EndRetriesWithSession", L"1"},
    {L"SessionKey",            L"random"},
    {L"LogControlCharacters",  L"escape"},
    {L"LogKeepDays",           kDays},
};
// clang-format on

bool IsNumberOfDays(TextView value) {
    const std::int32_t days = ToInt32(value);
    return std::ranges::all_of(value, IsDigit) && days >= 1 && days <= kMostDays;
}

} // namespace

void ReadOptions() {
    const Text path = ExecutableFolder() + L"Configs" + kPathSeparator + L"ZMQ.ini";
    for (const auto& [key, meant] : kOptions) {
        Text value = ReadIniText(path, L"Gateway", key, L"");
        if (!(meant == kDays ? IsNumberOfDays(value) : value == meant)) {
            if (!value.empty() && value != L"0")
                Log().Warn(L"ZMQ.ini: %s=%s is not used, it may be %s", key, value, meant);
            value.clear();
        }
        SetSetting(key, std::move(value));
    }
    SetLogOptions({.escapeControls = !GetSetting(L"LogControlCharacters").empty(),
                   .keepDays = ToInt32(GetSetting(L"LogKeepDays"))});
}

} // namespace halvane
