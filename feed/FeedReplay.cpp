#include "feed/FeedReplay.h"

#include "feed/Sqlite.h"

#include <algorithm>

namespace halvane {
namespace {

constexpr std::int64_t kMostLooks = 20'000;
constexpr std::size_t kMostBytes = std::size_t{4} << 20;

bool IsWanted(const ReplayWish& wish, std::string_view kind, std::string_view account) {
    if (kind == kGapKind) return true; // anything may have been lost there
    if (!wish.account.empty() && account != wish.account) return false;
    return wish.kinds.empty() || std::ranges::find(wish.kinds, kind) != wish.kinds.end();
}

// The number of the first row of that time or later. Times ascend with the numbers, so no index is
// needed, which every row would pay for.
std::int64_t NumberAt(SqliteDatabase& database, const FeedDay& day, std::int64_t sinceNs) {
    SqliteStatement at =
        database.Prepare("SELECT number, time_ns FROM event WHERE number >= ? LIMIT 1");
    std::int64_t low = day.first, high = day.last;
    while (low < high) {
        const std::int64_t middle = low + (high - low) / 2;
        if (!at.Bind(1, middle).Step()) return high;
        const std::int64_t number = at.Number(0);
        if (at.Number(1) < sinceNs)
            low = number + 1;
        else
            high = middle;
        at.Reset();
    }
    return low;
}

class PageReader {
  public:
    explicit PageReader(const ReplayWish& wish) : wish_(wish) {}

    bool IsFull() const {
        return page_.rows.size() >= kReplayPage || looks_ >= kMostLooks || bytes_ >= kMostBytes;
    }

    void Read(SqliteDatabase& database, const FeedDay& day) {
        SqliteStatement rows = database.Prepare(
            "SELECT number, run, time_ns, kind, account, symbol, recovered, json FROM event "
            "WHERE number BETWEEN ? AND ? ORDER BY number");
        rows.Bind(1, page_.next).Bind(2, day.last);
        while (!IsFull() && rows.Step()) {
            ++looks_;
            page_.next = rows.Number(0) + 1;
            if (!IsWanted(wish_, rows.Bytes(3), rows.Bytes(4))) continue;
            page_.rows.push_back({rows.Number(0),
                                  std::string(rows.Bytes(1)),
                                  rows.Number(2),
                                  {std::string(rows.Bytes(3)), std::string(rows.Bytes(4)),
                                   std::string(rows.Bytes(5))},
                                  rows.Number(6) != 0,
                                  std::string(rows.Bytes(7))});
            bytes_ += page_.rows.back().json.size();
        }
    }

    ReplayPage& Page() { return page_; }

  private:
    const ReplayWish& wish_;
    ReplayPage page_;
    std::int64_t looks_ = 0;
    std::size_t bytes_ = 0;
};

} // namespace

ReplayPage ReadReplay(const FeedFiles& files, const std::vector<FeedDay>& days,
                      const ReplayWish& wish) {
    PageReader reader(wish);
    std::int64_t& next = reader.Page().next;
    next = wish.from;
    bool looking = wish.sinceNs.has_value();
    for (const FeedDay& day : days) {
        if (reader.IsFull()) break;
        if (looking ? day.lastTimeNs < *wish.sinceNs : day.last < next) {
            if (looking) next = day.last + 1;
            continue;
        }
        SqliteDatabase database(files.PathOf(day.day), SqliteDatabase::Access::Read);
        if (looking) next = NumberAt(database, day, *wish.sinceNs);
        looking = false;
        reader.Read(database, day);
    }
    return std::move(reader.Page());
}

} // namespace halvane
