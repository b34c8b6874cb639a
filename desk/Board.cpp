#include "desk/Board.h"

#include <utility>

namespace halvane::desk {
namespace {

constexpr const char* kNames[Board::Count] = {"parts", "orders", "fills", "points"};

} // namespace

void Board::Put(Table table, const std::string& key, std::string json) {
    const MutexLock guard(lock_);
    tables_[table].Put(key, std::move(json));
}

void Board::KeepNewest(Table table, std::size_t count) {
    const MutexLock guard(lock_);
    tables_[table].KeepNewest(count);
}

void Board::ClearBook() {
    const MutexLock guard(lock_);
    tables_[Orders].Clear();
    tables_[Fills].Clear();
}

bool Board::AppendChanges(Places& places, std::size_t bytes, std::string& lines) const {
    const MutexLock guard(lock_);
    const std::size_t start = lines.size();
    bool more = false;
    for (int table = 0; table < Count && !more; ++table) {
        const std::size_t taken = lines.size() - start;
        if (taken >= bytes) return true;
        const std::string head =
            "{\"gateway\":" + std::to_string(gateway_) + ",\"table\":\"" + kNames[table] + '"';
        more = tables_[table].AppendChanges(head, places.of[table], bytes - taken, lines);
    }
    return more;
}

} // namespace halvane::desk
