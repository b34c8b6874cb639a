#include "publish/Publications.h"

#include "foundation/support/Clock.h"

#include <array>
#include <atomic>

namespace halvane {
namespace {

constexpr std::string_view kPublished[] = {"PING",         "ACCOUNTS",      "EXECUTIONREPORT",
                                           "FILLEDREPORT", "REPORTRESET",   "POSITIONTRACKER",
                                           "SYMBOLCLEAR",  "CorvintaSignal"};

std::array<std::atomic<std::uint64_t>, std::size(kPublished)> counts;
std::atomic<std::int64_t> lastEventMs = 0;

} // namespace

void CountPublication(std::string_view document) {
    constexpr std::string_view kStart = "{\"DataType\":\"";
    if (!document.starts_with(kStart)) return;
    document.remove_prefix(kStart.size());
    for (std::size_t kind = 0; kind < std::size(kPublished); ++kind) {
        const std::size_t length = kPublished[kind].size();
        if (!document.starts_with(kPublished[kind]) || document[length] != '"') continue;
        counts[kind].fetch_add(1, std::memory_order_relaxed);
        return;
    }
}

std::vector<PublicationCount> PublicationCounts() {
    std::vector<PublicationCount> all;
    for (std::size_t kind = 0; kind < std::size(kPublished); ++kind) {
        if (const std::uint64_t count = counts[kind]) all.push_back({kPublished[kind], count});
    }
    return all;
}

void NotePlatformEvent() { lastEventMs = TheClock().UnixTimeMs(); }

std::int64_t LastPlatformEventMs() { return lastEventMs; }

} // namespace halvane
