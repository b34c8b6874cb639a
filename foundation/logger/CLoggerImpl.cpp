#include "foundation/logger/CLoggerImpl.h"

#include "foundation/logger/LogErrors.h"
#include "foundation/logger/LogScreen.h"
#include "foundation/support/Format.h"
#include "foundation/support/Process.h"
#include "foundation/support/Utf.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <new>
#include <utility>

namespace halvane {
namespace {

constexpr std::chrono::milliseconds kRest{1}; // of the writer between two batches
constexpr std::size_t kLineOverhead = 64;     // what a queued line costs beside its text

} // namespace

CLoggerImpl::CLoggerImpl(std::size_t queueLimit) : queueLimit_(queueLimit) {}

CLoggerImpl::~CLoggerImpl() { CLoggerImpl::Close(); }

void* CLoggerImpl::Delete(unsigned int flags) {
    void* const address = this;
    this->~CLoggerImpl();
    if ((flags & 1) != 0) ::operator delete(address);
    return address;
}

int CLoggerImpl::Open(const wchar_t* fileName, LogLevel level, int printFlag) {
    const MutexLock lifecycle(lifecycle_);
    lastError_ = kLogNoError;
    if (open_) return Fail(kLogWrongState);
    if (level == LL_NONE) return Fail(kLogBadLevel);
    if ((printFlag & (PRINT_FLAG_FILE | PRINT_FLAG_SCREEN)) == 0) return Fail(kLogBadPrintFlag);
    if ((printFlag & PRINT_FLAG_FILE) != 0 && !Succeeds([&] { return TestFile(fileName); }))
        return 0;
    level_ = level;
    printFlag_ = printFlag;
    if (!StartWriter()) {
        level_ = LL_NONE;
        return Fail(kLogNoThread);
    }
    open_ = 1;
    return 1;
}

int CLoggerImpl::Close() {
    const MutexLock lifecycle(lifecycle_);
    if (!open_) return Fail(kLogWrongState);
    {
        const MutexLock guard(lock_);
        level_ = LL_NONE;
        signalled_ = true;
    }
    wake_.notify_one();
    drained_.notify_all();
    writer_.join();
    file_.Forget();
    printFlag_ = DEFAULT_PRINT_FLAG;
    open_ = 0;
    window_ = nullptr;
    return 1;
}

void CLoggerImpl::Write(LogLevel level, const wchar_t* text) {
    if (!Takes(level)) return;
    try {
        LogMsgPtr record = IsPrintToScreen() != 0 ? NewLogMsg(level, text) : nullptr;
        const TextView wide(text == nullptr ? L"" : text);
        Enqueue(level, {}, escapeControls_ ? ToNarrow(WithoutControls(wide)) : ToNarrow(wide),
                std::move(record));
    } catch (const std::exception&) {
        Fail(kLogUnspecified);
    }
}

void CLoggerImpl::WriteBytes(LogLevel level, std::string_view what, std::string_view utf8) {
    try {
        if (IsPrintToScreen() != 0 || escapeControls_ || !IsNarrow(utf8))
            Write(level, FromUtf8(std::string(what).append(utf8)).value_or(L"").c_str());
        else
            Enqueue(level, what, utf8, nullptr);
    } catch (const std::exception&) {
        Fail(kLogUnspecified);
    }
}

void CLoggerImpl::FreeLogMsg(const TLogMsg* msg) { LogMsgDeleter()(const_cast<TLogMsg*>(msg)); }

bool CLoggerImpl::Drain(std::uint32_t timeoutMs) {
    MutexLock guard(lock_);
    const std::uint64_t target = accepted_;
    hurry_ = true;
    wake_.notify_one();
    drained_.wait_for(guard, std::chrono::milliseconds(timeoutMs),
                      [&]() REQUIRES(lock_) { return done_ >= target || level_ == LL_NONE; });
    return done_ >= target;
}

int CLoggerImpl::Fail(std::int32_t error) {
    lastError_ = error;
    return 0;
}

// Runs a step that gives an error code. No exception gets past the logger: it counts as an error.
bool CLoggerImpl::Succeeds(const auto& step) {
    std::int32_t error = kLogUnspecified;
    try {
        error = step();
    } catch (const std::exception&) {
    }
    if (error != kLogNoError) lastError_ = error;
    return error == kLogNoError;
}

std::int32_t CLoggerImpl::TestFile(const wchar_t* fileName) {
    const bool given = fileName != nullptr && *fileName != L'\0';
    file_.SetBase(given ? Text(fileName) : LogFile::DefaultPath());
    const std::int32_t error = file_.Open();
    file_.Close();
    return error;
}

bool CLoggerImpl::StartWriter() {
    try {
        writer_ = std::thread([this] { RunWriter(); });
        return true;
    } catch (const std::exception&) { // no thread, or no memory for it
        return false;
    }
}

// A cheap look; the level is looked at again under the lock.
bool CLoggerImpl::Takes(LogLevel level) {
    if (!open_) Fail(kLogWrongState);
    return open_ && level >= level_;
}

void CLoggerImpl::Enqueue(LogLevel level, std::string_view what, std::string_view text,
                          LogMsgPtr record) {
    thread_local std::int32_t headLevel = -1; // most lines of a thread are of one level
    thread_local LineHead head;
    if (std::exchange(headLevel, level) != level) head = HeadOf(CurrentThreadId(), level);
    bool wake = false;
    {
        const MutexLock guard(lock_);
        if (level < level_) return; // closed meanwhile
        Put(head, what, text, std::move(record));
        signalled_ = true;
        wake = std::exchange(waiting_, false);
    }
    if (wake) wake_.notify_one();
}

// A single message may be larger than the limit. It counts for half of it, so that it finds room
// and leaves some to the others.
void CLoggerImpl::Put(const LineHead& head, std::string_view what, std::string_view text,
                      LogMsgPtr record) {
    const std::size_t size = what.size() + text.size() + (record != nullptr ? record->size : 0);
    const std::size_t cost = std::min<std::size_t>(size + kLineOverhead, queueLimit_ / 2);
    if (queuedBytes_ + cost > queueLimit_) {
        ++dropped_;
        ++missing_;
        return;
    }
    const std::int64_t now = TheClock().UnixTimeMs();
    if (std::exchange(stamped_, now) != now) stamp_ = StampOf(ToLocalTime(now));
    if (record != nullptr) {
        record->time = ToLocalTime(now);
        queue_.records.push_back(std::move(record));
    }
    queue_.lines.Add({{stamp_.data(), stamp_.size()}, head.View(), what, text});
    queue_.bytes += cost;
    queuedBytes_ += cost;
    ++accepted_;
}

void CLoggerImpl::RunWriter() noexcept {
    Queue batch;
    MutexLock guard(lock_);
    for (;;) {
        while (!signalled_) {
            waiting_ = true;
            wake_.wait(guard);
        }
        signalled_ = waiting_ = false;
        if (level_ == LL_NONE) break;
        std::swap(batch, queue_);
        const std::uint64_t dropped = std::exchange(dropped_, 0);
        guard.unlock();

        const bool written = WriteBatch(batch, dropped);
        const std::size_t count = batch.lines.Count();
        const std::size_t bytes = std::exchange(batch.bytes, 0);
        batch.lines.Clear();
        batch.records.clear();

        guard.lock();
        if (!written) dropped_ += dropped; // still to be told
        queuedBytes_ -= bytes;
        done_ += count;
        drained_.notify_all();
        // What is logged in the meantime wakes nobody, and goes into the file together.
        wake_.wait_for(guard, kRest, [&]() REQUIRES(lock_) { return level_ == LL_NONE || hurry_; });
        hurry_ = false;
    }
    queue_ = {};
    queuedBytes_ = 0;
    accepted_ = done_;
    dropped_ = 0;
    lost_ = 0;
}

// What was lost before is told ahead of the batch, what was dropped meanwhile behind it. False when
// the file was to be written and did not take all.
bool CLoggerImpl::WriteBatch(Queue& batch, std::uint64_t dropped) {
    const bool toFile = IsPrintToFile() != 0;
    file_.KeepDays(keepDays_);
    bool usable = !toFile || Succeeds([&] { return file_.Open(); });
    const std::uint64_t before = file_.Written();
    // The lines that own up to what is missing, whatever the level.
    const auto own = [&](std::uint64_t count, const wchar_t* fate) {
        usable = usable && Succeeds([&] { return Own(count, fate, toFile); });
    };
    const bool owning = usable && lost_ > 0;
    if (owning) own(lost_, L"lost: the file could not be written");
    for (LogMsgPtr& record : batch.records)
        Post(std::move(record));
    if (toFile && usable) usable = Succeeds([&] { return file_.Append(batch.lines); });
    if (dropped > 0) own(dropped, L"dropped: the log could not keep up");
    if (!toFile) return usable;
    file_.Close();
    CountLost(batch.lines.Count(), owning, file_.Written() - before);
    return usable;
}

std::int32_t CLoggerImpl::Own(std::uint64_t count, const wchar_t* fate, bool toFile) {
    const Text text = Format(L"%lld messages %s", static_cast<std::int64_t>(count), fate);
    const LocalTime now = ToLocalTime(TheClock().UnixTimeMs());
    LogMsgPtr record = NewLogMsg(LL_WARN, text.c_str());
    record->time = now;
    Post(std::move(record));
    if (!toFile) return kLogNoError;
    const LineStamp stamp = StampOf(now);
    LogLines line;
    line.Add(
        {{stamp.data(), stamp.size()}, HeadOf(CurrentThreadId(), LL_WARN).View(), ToNarrow(text)});
    return file_.Append(line);
}

// What was written is the beginning of what was to be.
void CLoggerImpl::CountLost(std::uint64_t messages, bool owning, std::uint64_t written) {
    if (owning && written > 0) {
        lost_ = 0;
        --written;
    }
    const std::uint64_t lost = messages - std::min(messages, written);
    lost_ += lost;
    missing_ += lost;
}

void CLoggerImpl::Post(LogMsgPtr record) {
    HWND__* const window = IsPrintToScreen() != 0 ? window_.load() : nullptr;
    if (window != nullptr && PostToWindow(window, this, record.get()))
        static_cast<void>(record.release()); // the window's
}

} // namespace halvane

ILogger* ILogger_Create() {
    try {
        return new halvane::CLoggerImpl;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void ILogger_Destroy(ILogger* logger) {
    constexpr unsigned int kFree = 1;
    if (logger != nullptr) logger->Delete(kFree);
}
