#pragma once

#include "foundation/logger/LogFile.h"
#include "foundation/logger/LogFormat.h"
#include "foundation/logger/LogLines.h"
#include "foundation/support/Mutex.h"

#include <atomic>
#include <thread>
#include <vector>

namespace halvane {

// The logger: any thread puts its line together and queues it as the bytes that it is in the file;
// one thread of its own writes them in batches, opening and closing the file once per batch. A file
// that cannot be opened or written loses the batch, not the logger: the next one tries again, and
// once the file takes lines again one at WARN says how many messages were lost.
class CLoggerImpl final : public ILogger {
  public:
    static constexpr std::size_t kQueueLimit = 64u << 20;

    // A writer that falls behind does not eat up the memory: past the limit, in bytes, messages are
    // dropped (but two of any size find room), and a line at WARN says how many as soon as the
    // writer has caught up.
    explicit CLoggerImpl(std::size_t queueLimit = kQueueLimit);
    ~CLoggerImpl(); // closes
    CLoggerImpl(const CLoggerImpl&) = delete;
    CLoggerImpl& operator=(const CLoggerImpl&) = delete;

    void* Delete(unsigned int flags) override;
    int Open(const wchar_t* fileName, LogLevel level, int printFlag) override;
    int Close() override;
    void Write(LogLevel level, const wchar_t* text) override;

    int IsOpen() override { return open_; }
    int IsPrintToFile() override { return printFlag_ & PRINT_FLAG_FILE; }
    int IsPrintToScreen() override { return printFlag_ & PRINT_FLAG_SCREEN; }
    int GetPrintFlag() override { return printFlag_; }
    LogLevel GetLogLevel() override { return static_cast<LogLevel>(level_.load()); }
    const wchar_t* GetFileName() override { return file_.Base().c_str(); }
    int GetLastError() override { return lastError_; }
    void SetWindow(HWND__* window) override { window_ = window; }
    HWND__* GetWindow() override { return window_; }
    void FreeLogMsg(const TLogMsg* msg) override;

    // Write for a text that is UTF-8 already, in two parts, neither of which holds a zero.
    void WriteBytes(LogLevel level, std::string_view what, std::string_view utf8);

    // Messages that were dropped or that the file did not take, ever. Safe from any thread.
    std::uint64_t Missing() const { return missing_; }

    // Control characters are escaped from now on, or not; files are kept for so many days, or, with
    // 0, for ever.
    void SetOptions(bool escapeControls, int keepDays) {
        escapeControls_ = escapeControls;
        keepDays_ = keepDays;
    }

    // Waits until the writer is done with all that was queued before this call. False when the time
    // is over or the logger is closed first.
    bool Drain(std::uint32_t timeoutMs);

  private:
    struct Queue {
        LogLines lines;
        std::vector<LogMsgPtr> records; // of the same messages, for a window
        std::size_t bytes = 0;          // that they count for
    };

    int Fail(std::int32_t error);
    bool Succeeds(const auto& step);
    std::int32_t TestFile(const wchar_t* fileName);
    bool StartWriter();
    bool Takes(LogLevel level);
    void Enqueue(LogLevel level, std::string_view what, std::string_view text, LogMsgPtr record);
    void Put(const LineHead& head, std::string_view what, std::string_view text, LogMsgPtr record)
        REQUIRES(lock_);

    void RunWriter() noexcept;
    bool WriteBatch(Queue& batch, std::uint64_t dropped);
    std::int32_t Own(std::uint64_t count, const wchar_t* fate, bool toFile);
    void CountLost(std::uint64_t messages, bool owning, std::uint64_t written);
    void Post(LogMsgPtr record);

    const std::size_t queueLimit_;
    Mutex lifecycle_; // held while opening and closing; taken before lock_
    Mutex lock_;
    Queue queue_ GUARDED_BY(lock_);
    std::size_t queuedBytes_ GUARDED_BY(lock_) = 0; // queued or with the writer
    std::uint64_t accepted_ GUARDED_BY(lock_) = 0;  // messages ever queued
    std::uint64_t done_ GUARDED_BY(lock_) = 0;      // of these, the writer is done with
    std::uint64_t dropped_ GUARDED_BY(lock_) = 0;   // for want of room, not yet told
    bool signalled_ GUARDED_BY(lock_) = false;      // there is something for the writer to do
    bool hurry_ GUARDED_BY(lock_) = false;          // somebody waits until it is done
    bool waiting_ GUARDED_BY(lock_) = false;        // the writer sleeps until it is woken
    std::int64_t stamped_ GUARDED_BY(lock_) = -1;   // the millisecond that stamp_ tells
    LineStamp stamp_ GUARDED_BY(lock_){};
    std::condition_variable_any wake_;    // signalled_ was set
    std::condition_variable_any drained_; // done_ or level_ has changed

    std::atomic<std::uint64_t> missing_ = 0;
    std::atomic<std::int32_t> open_ = 0;
    std::atomic<std::int32_t> level_ = LL_NONE; // changed under lock_, read as a filter without it
    std::atomic<std::int32_t> printFlag_ = 0;
    std::atomic<std::int32_t> lastError_ = 0;
    std::atomic<HWND__*> window_ = nullptr;
    std::atomic<bool> escapeControls_ = false;
    std::atomic<int> keepDays_ = 0;
    LogFile file_;           // the writer's while there is one
    std::uint64_t lost_ = 0; // likewise: messages that the file did not take, not yet told
    std::thread writer_;
};

} // namespace halvane
