#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>

namespace halvane::desk {

// A table of JSON rows that change, as listeners follow it: every change has a number, and a
// listener takes what has changed since the number that it has come to. So nothing waits for a slow
// listener but the rows themselves; it passes over what has changed again. One thread at a time.
class Rows {
  public:
    // How far a listener has come.
    struct Place {
        std::uint64_t life = 0; // a table that was cleared begins another one
        std::uint64_t seen = 0;
    };

    // The row of that key is now so; one that is there already unchanged is no change.
    void Put(const std::string& key, std::string json);

    // Takes the oldest rows away, in the order of their first coming, until so many are left.
    // Listeners are not told: they know the same bound.
    void KeepNewest(std::size_t count);

    // The listeners drop all rows.
    void Clear();

    // Appends what has changed since `place` as one line of JSON,
    // {"table":name,"reset":true,"rows":[...]}, and moves the place on; nothing when there is
    // nothing. At most about `bytes` at a time: call again while it says true.
    bool AppendChanges(std::string_view head, Place& place, std::size_t bytes,
                       std::string& lines) const;

    std::size_t Size() const { return rows_.size(); }

  private:
    struct Row {
        std::string json;
        std::uint64_t changed;
    };
    using Table = std::unordered_map<std::string, Row>;

    Table rows_;
    std::map<std::uint64_t, Table::const_pointer> byChange_;
    std::deque<std::string> byBirth_;
    std::uint64_t life_ = 1;
    std::uint64_t last_ = 0; // never begins anew, so that a place of an older life is behind all
};

} // namespace halvane::desk
