#include "paper/file/MarketChoice.h"

#include "foundation/logger/Log.h"
#include "foundation/support/Utf.h"
#include "paper/file/MarketFile.h"

namespace halvane::paper {
namespace {

constexpr TextView kPrefix = L"paper:";

TextView PathIn(TextView address) {
    return address.starts_with(kPrefix) ? address.substr(kPrefix.size()) : address;
}

void LogMarket(const MarketPlan& plan, const Text& name) {
    Log().Warn(L"PAPER: the market is %s; seed %s, speed %d, %d accounts, %d incidents", name,
               std::to_wstring(plan.seed), plan.speed, static_cast<int>(plan.accounts.size()),
               static_cast<int>(plan.incidents.size()));
}

} // namespace

std::optional<MarketPlan> ChooseMarket(TextView hostAddress) {
    const Text path(PathIn(hostAddress));
    const Text name = path.empty() ? L"built in" : path;
    MarketReading reading{.plan = BuiltInPlan(), .mistakes = {}};
    if (!path.empty()) reading = ReadMarketFile(ToPath(path), LocalNow());
    for (const Text& mistake : reading.mistakes)
        Log().Error(L"PAPER: %s: %s", name, mistake);
    if (!reading.plan) return std::nullopt;
    MarketPlan& plan = *reading.plan;
    if (plan.speed != 1 && !plan.start) plan.start = LocalNow();
    LogMarket(plan, name);
    return std::move(reading.plan);
}

} // namespace halvane::paper
