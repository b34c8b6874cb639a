#include "foundation/logger/CLoggerImpl.h"

#include "foundation/logger/LogErrors.h"
#include "foundation/logger/LogScreen.h"
#include "foundation/support/Format.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <new>
#include <utility>

namespace halvane {
namespace {

constexpr std::size_t kBlockOverhead = 64; // what a queued record costs beside its own bytes

// The line that owns up to what is missing, whatever the level.
LogMsgPtr NewNotice(std::uint64_t count, const wchar_t* fate) {
    const Text text = Format(L"%lld messages %s", static_cast<std::int64_t>(count), fate);
    LogMsgPtr msg = NewLogMsg(ILogger::LL_WARN, text.c_str());
    if (msg == nullptr) throw std::bad_alloc();
    msg->time = ToLocalTime(TheClock().UnixTimeMs());
    return msg;
}

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
    if (!open_) {
        Fail(kLogWrongState);
        return;
    }
    if (level < level_) return;
    try {
        if (LogMsgPtr msg = NewLogMsg(level, text)) Enqueue(std::move(msg));
    } catch (const std::exception&) {
        Fail(kLogUnspecified);
    }
}

void CLoggerImpl::FreeLogMsg(const TLogMsg* msg) { LogMsgDeleter()(const_cast<TLogMsg*>(msg)); }

bool CLoggerImpl::Drain(std::uint32_t timeoutMs) {
    MutexLock guard(lock_);
    const std::uint64_t target = accepted_;
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

void CLoggerImpl::Enqueue(LogMsgPtr msg) {
    bool wake = false;
    {
        const MutexLock guard(lock_);
        if (level_ == LL_NONE || msg->level < level_) return;
        if (queuedBytes_ + Cost(*msg) > queueLimit_) {
            ++dropped_;
        } else {
            msg->time = ToLocalTime(TheClock().UnixTimeMs());
            const std::size_t cost = Cost(*msg);
            queue_.push_back(std::move(msg));
            queuedBytes_ += cost;
            ++accepted_;
        }
        wake = !std::exchange(signalled_, true);
    }
    if (wake) wake_.notify_one();
}

// A single message may be larger than the limit. It counts for half of it, so that it finds room
// and leaves some to the others.
std::size_t CLoggerImpl::Cost(const TLogMsg& msg) const {
    return std::min<std::size_t>(msg.size + kBlockOverhead, queueLimit_ / 2);
}

void CLoggerImpl::RunWriter() noexcept {
    MutexLock guard(lock_);
    for (;;) {
        while (!signalled_)
            wake_.wait(guard);
        signalled_ = false;
        if (level_ == LL_NONE) break;
        Queue batch;
        batch.swap(queue_);
        const std::uint64_t dropped = std::exchange(dropped_, 0);
        guard.unlock();

        const bool written = WriteBatch(batch, dropped);
        const std::size_t count = batch.size();
        std::size_t bytes = 0;
        for (const LogMsgPtr& msg : batch)
            bytes += Cost(*msg);
        batch.clear();

        guard.lock();
        if (!written) dropped_ += dropped; // still to be told
        queuedBytes_ -= bytes;
        done_ += count;
        drained_.notify_all();
    }
    queue_.clear();
    queuedBytes_ = 0;
    accepted_ = done_;
    dropped_ = 0;
    lost_ = 0;
}

// What was lost before is told ahead of the batch, what was dropped meanwhile behind it. False when
// the file was to be written and did not take all.
bool CLoggerImpl::WriteBatch(const Queue& batch, std::uint64_t dropped) {
    const bool toFile = IsPrintToFile() != 0;
    bool usable = !toFile || Succeeds([&] { return file_.Open(); });
    const std::uint64_t before = file_.Written();
    const auto put = [&](const TLogMsg& msg) {
        Post(msg);
        if (toFile && usable) usable = Succeeds([&] { return file_.Append(FormatLine(msg)); });
    };
    const auto own = [&](std::uint64_t count, const wchar_t* fate) {
        LogMsgPtr notice;
        usable = usable && Succeeds([&] {
                     notice = NewNotice(count, fate);
                     return kLogNoError;
                 });
        if (usable) put(*notice);
    };
    const bool owning = usable && lost_ > 0;
    if (owning) own(lost_, L"lost: the file could not be written");
    for (const LogMsgPtr& msg : batch)
        put(*msg);
    if (dropped > 0) own(dropped, L"dropped: the log could not keep up");
    if (!toFile) return usable;
    usable = Succeeds([&] { return file_.Close(); }) && usable;
    CountLost(batch.size(), owning, file_.Written() - before);
    return usable;
}

// What was written is the beginning of what was to be.
void CLoggerImpl::CountLost(std::uint64_t messages, bool owning, std::uint64_t written) {
    if (owning && written > 0) {
        lost_ = 0;
        --written;
    }
    lost_ += messages - std::min(messages, written);
}

void CLoggerImpl::Post(const TLogMsg& msg) {
    HWND__* const window = IsPrintToScreen() != 0 ? window_.load() : nullptr;
    if (window == nullptr) return;
    LogMsgPtr copy = CopyLogMsg(msg);
    if (copy != nullptr && PostToWindow(window, this, copy.get()))
        static_cast<void>(copy.release()); // the window's
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
