#pragma once

#include "feed/FeedFiles.h"
#include "feed/FeedNumbering.h"
#include "feed/FeedOptions.h"
#include "feed/FeedQueue.h"
#include "feed/FeedReplay.h"
#include "feed/FeedSocket.h"
#include "feed/Journal.h"
#include "foundation/support/Mutex.h"

#include <atomic>
#include <condition_variable>
#include <optional>
#include <thread>

namespace halvane {

// How the feed is, as its thread last saw it.
struct FeedStatus {
    int port = 0; // 0 as long as none could be bound
    std::string run;
    std::string journalId;
    std::vector<FeedDay> days; // what is kept
    std::int64_t last = 0;
    Text failure; // why nothing can be written; "" when all is well
    std::int64_t failingSinceMs = 0;
    FeedQueue::Waiting waiting;
    std::int64_t lost = 0; // publications of this run that are in no row
    std::vector<NumberRange> missed;

    std::int64_t First() const { return days.empty() ? 0 : days.front().first; }
};

// The feed that loses nothing: everything that is published gets a number, is written into the
// journal and then sent on a socket of its own, so that what is on the feed is in the journal. One
// thread does all that, in this order; whoever publishes only hands over.
class Feed {
  public:
    // Starts the thread. The feed is bound at that address.
    Feed(FeedOptions options, Text ip);
    ~Feed();

    // Writes what it was given, unless the disk refuses, and ends the thread. What is posted later
    // is lost.
    void End();

    // Takes a publication, in UTF-8 without a zero at its end. Copies it and waits for nobody.
    // Safe from any thread, like all that follows.
    void Post(std::string_view json) { queue_.Post(json); }

    FeedStatus Status();

    // Throws a SqliteError.
    ReplayPage Replay(const ReplayWish& wish);

    // For what was missed while the program was not running. Between these two calls reports and
    // fills that are posted as recovered are left out when they were published since, and the other
    // way round. Gives the number of the last row before; nothing when stopped before the journal
    // could be opened.
    std::optional<std::int64_t> BeginComparing(const std::stop_token& stop);
    void PostRecovered(std::string_view json) { queue_.Post(json, FeedEntry::Kind::Recovered); }
    void EndComparing();

  private:
    void Run(const std::stop_token& stop);
    void Work(const std::stop_token& stop);
    void Write();
    void Gather(const std::stop_token& stop);
    void OpenJournal();
    void Keep();
    void Fail(const std::exception& error);
    void EndFailure();
    void Obey(FeedEntry::Kind mark);
    void Show();

    const FeedOptions options_;
    const Text ip_;
    const FeedFiles files_;
    FeedQueue queue_;

    // Of the thread alone.
    Journal journal_;
    FeedSocket socket_;
    FeedNumbering numbering_;
    std::deque<FeedEntry> entries_; // taken from the queue
    std::vector<FeedRow> rows_;     // numbered, to be written next
    FeedRow lastSent_;
    std::atomic<std::size_t> inHand_ = 0; // of both
    std::uint32_t nextBeat_ = 0, nextTidy_ = 0, wroteAt_ = 0;
    bool portRefused_ = false;
    unsigned failures_ = 0;

    Mutex lock_;
    std::condition_variable_any changed_;
    FeedStatus status_ GUARDED_BY(lock_);
    std::optional<std::int64_t> comparedFrom_ GUARDED_BY(lock_); // once that has begun

    std::jthread thread_;
};

} // namespace halvane
