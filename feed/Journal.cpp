#include "feed/Journal.h"

#include "foundation/logger/Log.h"
#include "foundation/support/Utf.h"

#include <algorithm>
#include <random>

namespace halvane {
namespace {

constexpr int kPageBytes = 16384; // half the work of the default's, with rows of a kilobyte
constexpr std::int64_t kFormat = 1;
constexpr std::int64_t kDayNs = std::int64_t{86'400} * 1'000'000'000;

constexpr std::string_view kSchema[] = {
    "CREATE TABLE IF NOT EXISTS event (number INTEGER PRIMARY KEY, run TEXT NOT NULL, "
    "time_ns INTEGER NOT NULL, kind TEXT NOT NULL, account TEXT NOT NULL, symbol TEXT NOT NULL, "
    "recovered INTEGER NOT NULL, json TEXT NOT NULL)",
    "CREATE TABLE IF NOT EXISTS journal (id TEXT NOT NULL)",
};
constexpr std::string_view kInsert = "INSERT INTO event VALUES (?,?,?,?,?,?,?,?)";

} // namespace

std::string DrawIdentity() {
    std::random_device device;
    std::string identity;
    for (int n = 0; n < 16; ++n)
        identity += "0123456789abcdef"[device() & 15];
    return identity;
}

Journal::Journal(const FeedOptions& options) : options_(options), files_(options.folder) {}

void Journal::Open() {
    Close();
    days_.clear();
    std::string id;
    if (!files_.MakeFolder()) throw SqliteError("there is no folder for it and none can be made");
    const std::vector<Text> days = files_.Days();
    for (const Text& day : days) {
        try {
            const FeedDay found = ReadDay(day, id);
            if (found.last > 0) days_.push_back(found);
        } catch (const SqliteError& error) {
            if (day == days.back()) throw; // without it no number is known
            Log().Warn(L"[Feed]the journal of %s is left out: %s", day, ReasonOf(error));
        }
    }
    id_ = id.empty() ? DrawIdentity() : id;
    open_ = true;
}

// A file that another run left open is brought to rest on this occasion.
FeedDay Journal::ReadDay(const Text& day, std::string& id) {
    SqliteDatabase database(files_.PathOf(day), SqliteDatabase::Access::Write);
    if (database.Ask("PRAGMA user_version") == 0) return {day}; // it got no further
    if (database.Ask("PRAGMA user_version") != kFormat)
        throw SqliteError("a file of another version lies in its folder");
    id = database.AskText("SELECT id FROM journal");
    return {day, database.Ask("SELECT min(number) FROM event"),
            database.Ask("SELECT max(number) FROM event"),
            database.Ask("SELECT time_ns FROM event ORDER BY number DESC LIMIT 1")};
}

void Journal::Close() {
    CloseDay();
    open_ = false;
}

// Whoever opens the file later, to read or to copy it, finds one file without anything beside it.
void Journal::CloseDay() {
    insert_.reset();
    if (database_) {
        try {
            database_->Execute("PRAGMA journal_mode=DELETE");
        } catch (const SqliteError&) { // somebody reads it: the rows are there all the same
        }
    }
    database_.reset();
    day_.clear();
}

void Journal::OpenDay(const Text& day) {
    CloseDay();
    database_.emplace(files_.PathOf(day), SqliteDatabase::Access::Create);
    database_->Execute("PRAGMA page_size=" + std::to_string(kPageBytes));
    database_->Execute("PRAGMA journal_mode=WAL");
    database_->Execute(options_.syncEachCommit ? "PRAGMA synchronous=FULL"
                                               : "PRAGMA synchronous=NORMAL");
    database_->Execute("PRAGMA journal_size_limit=67108864");
    database_->Execute("PRAGMA wal_autocheckpoint=512"); // pages
    if (database_->Ask("PRAGMA user_version") != kFormat) {
        database_->Execute("BEGIN IMMEDIATE");
        for (const std::string_view sql : kSchema)
            database_->Execute(sql);
        database_->Prepare("INSERT INTO journal VALUES (?)").Bind(1, id_).Run();
        database_->Execute("PRAGMA user_version=" + std::to_string(kFormat));
        database_->Execute("COMMIT");
    }
    insert_.emplace(database_->Prepare(kInsert));
    day_ = day;
}

// The database stays open when this fails: on a full disk nobody could open it again, to read.
void Journal::Insert(std::span<const FeedRow> rows) {
    database_->Execute("BEGIN IMMEDIATE");
    try {
        for (const FeedRow& row : rows) {
            insert_->Bind(1, row.number).Bind(2, row.run).Bind(3, row.timeNs);
            insert_->Bind(4, row.route.kind).Bind(5, row.route.account).Bind(6, row.route.symbol);
            insert_->Bind(7, std::int64_t{row.recovered}).Bind(8, row.json).Run();
        }
        database_->Execute("COMMIT");
    } catch (const SqliteError&) {
        RollBack();
        throw;
    }
}

// SQLite may have done so itself.
void Journal::RollBack() {
    try {
        database_->Execute("ROLLBACK");
    } catch (const SqliteError&) { // there is nothing to take back
    }
}

void Journal::Append(std::span<const FeedRow> rows) {
    while (!rows.empty()) {
        const Text day = DayOf(rows.front().timeNs);
        if (day != day_) OpenDay(day);
        const std::int64_t nextDay = (rows.front().timeNs / kDayNs + 1) * kDayNs;
        const auto end =
            std::ranges::find_if(rows, [=](const FeedRow& row) { return row.timeNs >= nextDay; });
        const std::span<const FeedRow> ofDay(rows.begin(), end);
        Insert(ofDay);
        if (days_.empty() || days_.back().day != day) days_.push_back({day, ofDay.front().number});
        days_.back().last = ofDay.back().number;
        days_.back().lastTimeNs = ofDay.back().timeNs;
        rows = rows.subspan(ofDay.size());
    }
}

std::int64_t Journal::BytesKept() const {
    std::int64_t bytes = 0;
    for (const FeedDay& each : days_)
        bytes += files_.BytesOf(each.day);
    return bytes;
}

void Journal::Tidy() {
    const auto tooMuch = [this] {
        return days_.size() > static_cast<std::size_t>(options_.keepDays) ||
               (options_.keepBytes > 0 && BytesKept() > options_.keepBytes);
    };
    while (days_.size() > 1 && tooMuch()) {
        const Text day = days_.front().day;
        if (!files_.Remove(day)) {
            if (std::ranges::find(undeletable_, day) == undeletable_.end()) {
                undeletable_.push_back(day);
                Log().Warn(L"[Feed]the journal of %s cannot be deleted yet: somebody reads it",
                           day);
            }
            return;
        }
        Log().Info(L"[Feed]the journal of %s is deleted, as Feed.ini says", day);
        days_.erase(days_.begin());
    }
}

} // namespace halvane
