#include "feed/FeedNumbering.h"

#include "foundation/support/Clock.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace halvane {
namespace {

std::string DrawRun() {
    using namespace std::chrono;
    const sys_time<milliseconds> now{milliseconds(TheClock().UnixTimeMs())};
    const year_month_day day(floor<days>(now));
    const hh_mm_ss time(now - floor<days>(now));
    char start[32];
    std::snprintf(start, sizeof start, "%04d%02u%02uT%02d%02d%02dZ-", static_cast<int>(day.year()),
                  static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()),
                  static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()));
    return start + DrawIdentity();
}

std::string GapDocument(std::int64_t from, std::int64_t to) {
    return R"({"DataType":"FEEDGAP","From":")" + std::to_string(from) + R"(","To":")" +
           std::to_string(to) + "\"}";
}

} // namespace

FeedNumbering::FeedNumbering() : run_(DrawRun()) {}

void FeedNumbering::StartBehind(std::int64_t last, std::int64_t timeNs) {
    last_ = std::max(last_, last);
    lastTimeNs_ = std::max(lastTimeNs_, timeNs);
}

std::vector<FeedRow> FeedNumbering::Number(std::deque<FeedEntry>& entries, std::size_t most) {
    std::vector<FeedRow> rows;
    for (; !entries.empty() && !entries.front().IsMark() && rows.size() < most;
         entries.pop_front()) {
        if (!comparing_ || !IsThere(entries.front()))
            rows.push_back(RowOf(std::move(entries.front())));
    }
    return rows;
}

FeedRow FeedNumbering::RowOf(FeedEntry&& entry) {
    lastTimeNs_ = std::max(lastTimeNs_, entry.timeNs);
    if (entry.lost > 0) {
        const std::int64_t from = last_ + 1;
        last_ += entry.lost;
        lost_ += entry.lost;
        entry.json = GapDocument(from, last_);
    }
    const bool gap = entry.kind == FeedEntry::Kind::Lost;
    Route route = gap ? Route{std::string(kGapKind), "", ""} : RouteOf(entry.json);
    const bool recovered = entry.kind == FeedEntry::Kind::Recovered;
    return {++last_, run_, lastTimeNs_, std::move(route), recovered, std::move(entry.json)};
}

// Both orders come about: the platform lists a fill before it tells of it, and the other way round.
bool FeedNumbering::IsThere(const FeedEntry& entry) {
    const std::string key = RecordKey(entry.json);
    if (key.empty()) return false;
    int& ahead = ahead_[key];
    const bool recovered = entry.kind == FeedEntry::Kind::Recovered;
    const bool there = recovered ? ahead > 0 : ahead < 0;
    ahead += recovered ? -1 : 1;
    return there;
}

void FeedNumbering::BeginComparing() {
    comparing_ = true;
    ahead_.clear();
}

void FeedNumbering::EndComparing() {
    comparing_ = false;
    ahead_.clear();
}

} // namespace halvane
