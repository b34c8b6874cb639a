#include "feed/Feed.h"

#include "foundation/logger/Log.h"
#include "foundation/support/Clock.h"
#include "foundation/support/Utf.h"

#include <utility>

namespace halvane {
namespace {

constexpr std::size_t kMostRows = 2000; // of a transaction
constexpr std::uint32_t kGatherMs = 10;
constexpr std::uint32_t kBeatMs = 1000;
constexpr std::uint32_t kTidyMs = 60'000;
constexpr std::uint32_t kRetryMs = 1000;
constexpr unsigned kTriesUntilReopened = 60;

bool IsDue(std::uint32_t now, std::uint32_t at) { return now - at < 0x80000000; }

} // namespace

Feed::Feed(FeedOptions options, Text ip)
    : options_(std::move(options)), ip_(std::move(ip)), files_(options_.folder),
      queue_(options_.queueBytes), journal_(options_), socket_(options_.subscriberRows) {
    status_.run = lastSent_.run = numbering_.Run();
    nextBeat_ = nextTidy_ = TheClock().TickCount();
    thread_ = std::jthread([this](const std::stop_token& stop) { Run(stop); });
}

Feed::~Feed() = default;

void Feed::End() { thread_ = {}; }

void Feed::Run(const std::stop_token& stop) {
    Log().Info(L"[Feed]run %s, journal in %s", FromUtf8(numbering_.Run()).value_or(L""),
               options_.folder);
    bool failed = false;
    while (!failed || !stop.stop_requested()) {
        failed = false;
        try {
            Work(stop);
        } catch (const std::exception& error) {
            Fail(error);
            failed = true;
        }
        if (failed) TheClock().Sleep(kRetryMs, stop);
        const bool idle = entries_.empty() && rows_.empty() && queue_.Count().entries == 0;
        if (stop.stop_requested() && idle) break;
    }
    journal_.Close();
}

void Feed::Work(const std::stop_token& stop) {
    socket_.Admit();
    Keep();
    if (!journal_.IsOpen()) OpenJournal();
    if (entries_.empty() && rows_.empty()) {
        Gather(stop);
        entries_ = queue_.TakeAll(kBeatMs / 2, stop);
        inHand_ = entries_.size();
    }
    if (rows_.empty()) rows_ = numbering_.Number(entries_, kMostRows);
    if (!rows_.empty()) {
        Write();
    } else if (!entries_.empty()) {
        Obey(entries_.front().kind);
        entries_.pop_front();
    }
    inHand_ = entries_.size();
}

// A day is tidied before it is written: on a full disk that may be what makes room.
void Feed::OpenJournal() {
    journal_.Open();
    journal_.Tidy();
    // What was written before the failure that closed it needs no second time.
    while (!rows_.empty() && rows_.front().number <= journal_.Last()) {
        socket_.Send(rows_.front());
        lastSent_ = std::move(rows_.front());
        rows_.erase(rows_.begin());
    }
    numbering_.StartBehind(journal_.Last(), journal_.LastTimeNs());
    if (lastSent_.number == 0) {
        lastSent_.number = journal_.Last();
        lastSent_.timeNs = journal_.LastTimeNs();
    }
    Show();
    if (rows_.empty()) EndFailure();
}

void Feed::Write() {
    journal_.Append(rows_);
    for (const FeedRow& row : rows_)
        socket_.Send(row);
    lastSent_ = std::move(rows_.back());
    rows_.clear();
    wroteAt_ = TheClock().TickCount();
    Show();
    EndFailure();
}

// What comes right behind a commit is committed together a moment later: the disk has less to do,
// and so has the processor, which the publisher needs.
void Feed::Gather(const std::stop_token& stop) {
    const std::uint32_t since = TheClock().TickCount() - wroteAt_;
    if (since < kGatherMs) TheClock().Sleep(kGatherMs - since, stop);
}

// What falls due whether the journal can be written or not.
void Feed::Keep() {
    const std::uint32_t now = TheClock().TickCount();
    if (IsDue(now, nextBeat_)) {
        nextBeat_ = now + kBeatMs;
        if (socket_.Port() == 0 && socket_.Bind(ip_, options_.port)) {
            Log().Info(L"FeedPort:%d", socket_.Port());
            Show();
        } else if (socket_.Port() == 0 && !std::exchange(portRefused_, true)) {
            Log().Error(L"[Feed]no port is free for the feed on %s, Feed.ini says %d; it is tried "
                        L"again each second",
                        ip_, options_.port);
        }
        if (!journal_.Id().empty()) socket_.Beat(lastSent_, journal_.Id());
    }
    if (IsDue(now, nextTidy_)) {
        nextTidy_ = now + kTidyMs;
        if (journal_.IsOpen()) journal_.Tidy();
    }
}

void Feed::Show() {
    const MutexLock guard(lock_);
    status_.port = socket_.Port();
    status_.journalId = journal_.Id();
    status_.days = journal_.Days();
    status_.last = journal_.Last();
    status_.lost = numbering_.Lost();
    status_.missed = socket_.Missed();
}

void Feed::Fail(const std::exception& error) {
    const auto* sqlite = dynamic_cast<const SqliteError*>(&error);
    const bool mayPass = sqlite != nullptr && sqlite->mayPass;
    if (!mayPass || ++failures_ % kTriesUntilReopened == 0) journal_.Close();
    const MutexLock guard(lock_);
    if (status_.failure.empty()) {
        Log().Error(L"[Feed]the journal cannot be written: %s", ReasonOf(error));
        status_.failingSinceMs = TheClock().UnixTimeMs();
    }
    status_.failure = ReasonOf(error);
    if (status_.failure.empty()) status_.failure = L"unknown";
}

// To open files succeeds on a full disk as well: it is over when what waits is written.
void Feed::EndFailure() {
    const MutexLock guard(lock_);
    if (status_.failure.empty()) return;
    const std::int64_t ms = TheClock().UnixTimeMs() - status_.failingSinceMs;
    Log().Info(L"[Feed]the journal is written again, after %lld s", ms / 1000);
    status_.failure.clear();
}

FeedStatus Feed::Status() {
    const FeedQueue::Waiting waiting = queue_.Count();
    const MutexLock guard(lock_);
    FeedStatus status = status_;
    status.waiting = {waiting.entries + inHand_, waiting.lost};
    return status;
}

ReplayPage Feed::Replay(const ReplayWish& wish) {
    const FeedStatus status = Status();
    return ReadReplay(files_, status.days, wish);
}

std::optional<std::int64_t> Feed::BeginComparing(const std::stop_token& stop) {
    MutexLock guard(lock_);
    comparedFrom_.reset();
    queue_.PostMark(FeedEntry::Kind::BeginComparing);
    changed_.wait(guard, stop, [this]() REQUIRES(lock_) { return comparedFrom_.has_value(); });
    return comparedFrom_;
}

void Feed::EndComparing() { queue_.PostMark(FeedEntry::Kind::EndComparing); }

// All that was published before the mark is written.
void Feed::Obey(FeedEntry::Kind mark) {
    if (mark == FeedEntry::Kind::EndComparing) return numbering_.EndComparing();
    numbering_.BeginComparing();
    const MutexLock guard(lock_);
    comparedFrom_ = journal_.Last();
    changed_.notify_all();
}

} // namespace halvane
