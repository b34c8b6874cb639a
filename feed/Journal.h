#pragma once

#include "feed/FeedFiles.h"
#include "feed/FeedOptions.h"
#include "feed/FeedRow.h"
#include "feed/Sqlite.h"

#include <optional>
#include <span>

namespace halvane {

// Writes the journal, for the feed's thread alone. Everything but Days, Last and Id may throw a
// SqliteError; what failed may be tried again, also after the journal was opened anew, which tells
// how far it came.
class Journal {
  public:
    explicit Journal(const FeedOptions& options);

    // Reads what there is and goes on behind it; makes a folder where there is none.
    void Open();
    bool IsOpen() const { return open_; }
    void Close(); // what was written is whole, also without

    // Adds the rows, whose numbers and times ascend, in one transaction for each day.
    void Append(std::span<const FeedRow> rows);

    // Deletes whole days, the oldest first, until what is left fits into what is to be kept. The
    // newest one stays: it knows the last number.
    void Tidy();

    const std::vector<FeedDay>& Days() const { return days_; }
    std::int64_t Last() const { return days_.empty() ? 0 : days_.back().last; }
    std::int64_t LastTimeNs() const { return days_.empty() ? 0 : days_.back().lastTimeNs; }
    // The same as long as numbers go on; another one when somebody has taken all files away.
    const std::string& Id() const { return id_; }

  private:
    FeedDay ReadDay(const Text& day, std::string& id);
    void OpenDay(const Text& day);
    void CloseDay();
    void Insert(std::span<const FeedRow> rows);
    void RollBack();
    std::int64_t BytesKept() const;

    const FeedOptions& options_;
    FeedFiles files_;
    bool open_ = false;
    std::string id_;
    std::vector<FeedDay> days_; // that have rows
    Text day_;                  // of the file that is open
    std::optional<SqliteDatabase> database_;
    std::optional<SqliteStatement> insert_;
    std::vector<Text> undeletable_; // for which the log says so already
};

} // namespace halvane
