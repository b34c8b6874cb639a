#include "feed/FeedRecovery.h"

#include "feed/Feed.h"
#include "foundation/logger/Log.h"
#include "foundation/support/Clock.h"
#include "foundation/support/Utf.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <map>
#include <vector>

namespace halvane {
namespace {

constexpr std::int64_t kDayNs = std::int64_t{86'400} * 1'000'000'000;
// A platform shows things in its lists before it tells of them, and the other way round.
constexpr std::uint32_t kBeforeMs = 2000;
constexpr std::uint32_t kAfterMs = 10'000;

// Something that the platform restores, in the order in which it happened.
struct Restored {
    std::string json;
    RecordTime time;
    bool missing = true;
};

// As long ago as the oldest of them; a day more, because places differ in when a day begins.
std::int64_t OldestNs(const std::vector<Restored>& all) {
    using namespace std::chrono;
    const std::int64_t now = TheClock().UnixTimeNs();
    int oldest = INT_MAX;
    for (const Restored& each : all) {
        if (each.time.date > 19'700'102) oldest = std::min(oldest, each.time.date);
    }
    if (oldest == INT_MAX) return now - 7 * kDayNs;
    const sys_days day = year(oldest / 10'000) / (oldest / 100 % 100) / (oldest % 100);
    const std::int64_t start = duration_cast<nanoseconds>(day.time_since_epoch()).count();
    return std::min(start, now) - kDayNs;
}

// Takes from `all` what the journal has up to number `last`.
void Compare(Feed& feed, std::vector<Restored>& all, std::int64_t last,
             const std::stop_token& stop) {
    std::multimap<std::string, Restored*, std::less<>> byKey;
    for (Restored& each : all)
        byKey.emplace(RecordKey(each.json), &each);
    ReplayWish wish;
    wish.kinds = {"EXECUTIONREPORT", "FILLEDREPORT"};
    wish.sinceNs = OldestNs(all);
    for (bool more = true; more && !byKey.empty() && !stop.stop_requested();) {
        const ReplayPage page = feed.Replay(wish);
        for (const FeedRow& row : page.rows) {
            const auto found = row.number <= last ? byKey.find(RecordKey(row.json)) : byKey.end();
            if (found == byKey.end()) continue;
            found->second->missing = false;
            byKey.erase(found);
        }
        more = page.next <= last && page.next > wish.from;
        wish.from = page.next;
        wish.sinceNs.reset();
    }
}

} // namespace

bool AppendMissed(Feed& feed, const RestoredReports& walk, const std::stop_token& stop) {
    const auto last = feed.BeginComparing(stop);
    if (!last) return false;
    std::vector<Restored> all;
    const bool whole = walk([&all](std::string bytes) {
        const std::string key = RecordKey(bytes);
        if (!key.empty()) all.push_back({std::move(bytes), TimeOfRecord(key)});
    });
    Compare(feed, all, *last, stop);
    std::erase_if(all, [](const Restored& each) { return !each.missing; });
    if (!all.empty() && !TheClock().Sleep(kBeforeMs, stop)) return false;
    std::ranges::stable_sort(all, {}, &Restored::time);
    for (const Restored& each : all)
        feed.PostRecovered(each.json);
    Log().Info(L"[Feed]%lld reports and fills were missing in the journal",
               static_cast<std::int64_t>(all.size()));
    const bool ended = all.empty() || TheClock().Sleep(kAfterMs, stop);
    feed.EndComparing();
    return whole && ended;
}

} // namespace halvane
