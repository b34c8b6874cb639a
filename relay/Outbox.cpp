#include "relay/Outbox.h"

namespace halvane::relay {

constexpr std::size_t kMostRows = 4'096;
constexpr std::size_t kMostBytes = 32 << 20; // and the row that goes beyond it

bool Outbox::Put(Row row) {
    {
        MutexLock guard(lock_);
        changed_.wait(guard, [this]() REQUIRES(lock_) {
            return !open_ || (rows_.size() < kMostRows && bytes_ < kMostBytes);
        });
        if (!open_) return false;
        bytes_ += row.json.size();
        rows_.push_back(std::move(row));
        if (rows_.size() > 1) return true; // who takes has been woken already
    }
    changed_.notify_all();
    return true;
}

void Outbox::Take(std::vector<Row>& rows, std::chrono::milliseconds timeout) {
    rows.clear();
    {
        MutexLock guard(lock_);
        changed_.wait_for(guard, timeout,
                          [this]() REQUIRES(lock_) { return !open_ || !rows_.empty(); });
        if (rows_.empty()) return;
        rows.swap(rows_);
        bytes_ = 0;
    }
    changed_.notify_all();
}

void Outbox::Open() {
    const MutexLock guard(lock_);
    rows_.clear();
    bytes_ = 0;
    open_ = true;
}

void Outbox::Close() {
    {
        const MutexLock guard(lock_);
        open_ = false;
        rows_.clear();
    }
    changed_.notify_all();
}

} // namespace halvane::relay
