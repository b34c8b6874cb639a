#pragma once

#include "foundation/support/Clock.h"
#include "foundation/support/Mutex.h"

#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>

namespace halvane::bench {

// What a logger costs at least: lines of the log's form are put together in one buffer under a
// lock, and a thread that is woken when there was none writes them out.
class BatchLogger {
  public:
    // The names of the files begin with `path`.
    explicit BatchLogger(std::string path) : path_(std::move(path)) {
        BeginFile();
        writer_ = std::jthread([this] { Write(); });
    }
    ~BatchLogger() {
        {
            const MutexLock guard(lock_);
            ended_ = true;
        }
        changed_.notify_all();
    }

    void Line(std::string_view text, std::string_view more = {}) {
        bool wake = false;
        {
            const MutexLock guard(lock_);
            wake = lines_.empty();
            StampTime();
            lines_.append(stamp_, sizeof stamp_ - 1).append(text).append(more).append("\r\n");
        }
        if (wake) changed_.notify_all();
    }

    // Waits until all lines are written.
    void Drain() {
        MutexLock guard(lock_);
        while (!lines_.empty() || writing_)
            changed_.wait(guard);
    }

  private:
    void StampTime() REQUIRES(lock_) {
        const std::int64_t now = TheClock().UnixTimeMs();
        if (now == stamped_) return;
        stamped_ = now;
        const LocalTime time = ToLocalTime(now);
        std::snprintf(stamp_, sizeof stamp_, "%02u:%02u:%02u.%03u %6d  [INFO ]  ", time.hour % 24u,
                      time.minute % 60u, time.second % 60u, time.milliseconds % 1000u, 4711);
    }

    void Write() {
        MutexLock guard(lock_);
        for (std::string batch; !ended_ || !lines_.empty();) {
            if (lines_.empty()) {
                changed_.wait(guard);
                continue;
            }
            batch.swap(lines_);
            writing_ = true;
            guard.unlock();
            if (file_.tellp() > kLargest) BeginFile();
            file_.write(batch.data(), static_cast<std::streamsize>(batch.size())).flush();
            batch.clear();
            guard.lock();
            writing_ = false;
            if (lines_.empty()) changed_.notify_all(); // who drains
        }
    }

    // Another name each time, as the gateway's log has one: a file that is begun again spares the
    // disk what was in it.
    void BeginFile() {
        file_ = std::ofstream(path_ + "-" + std::to_string(files_++), std::ios::binary);
    }

    static constexpr std::streamoff kLargest = 100 << 20;

    std::string path_;
    int files_ = 0;
    std::ofstream file_;
    Mutex lock_;
    std::condition_variable_any changed_;
    std::string lines_ GUARDED_BY(lock_);
    std::int64_t stamped_ GUARDED_BY(lock_) = 0;
    char stamp_[31] GUARDED_BY(lock_) = {}; // with the zero behind its 30 characters
    bool writing_ GUARDED_BY(lock_) = false;
    bool ended_ GUARDED_BY(lock_) = false;
    std::jthread writer_;
};

} // namespace halvane::bench
