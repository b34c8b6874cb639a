#pragma once

#include "desk/Rows.h"
#include "foundation/support/Mutex.h"

#include <string>
#include <string_view>

namespace halvane::desk {

// What the page shows of one gateway. Those who watch the gateway write it, listeners follow it.
// Safe from any thread.
class Board {
  public:
    // Parts are few and replaced as a whole (status, positions of an account, ...); orders and
    // fills are of the platform's day; points are those of the chart.
    enum Table { Parts, Orders, Fills, Points, Count };

    struct Places {
        Rows::Place of[Count];
    };

    explicit Board(int gateway) : gateway_(gateway) {}

    void Put(Table table, const std::string& key, std::string json);
    void KeepNewest(Table table, std::size_t count);

    // Orders and fills are none any more.
    void ClearBook();

    // Appends what has changed since `places` as lines of JSON, at most about `bytes`; true: there
    // is more.
    bool AppendChanges(Places& places, std::size_t bytes, std::string& lines) const;

  private:
    const int gateway_;
    mutable Mutex lock_;
    Rows tables_[Count] GUARDED_BY(lock_);
};

} // namespace halvane::desk
