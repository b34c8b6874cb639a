#pragma once

#include "clients/cpp/Core.h"

#include <atomic>
#include <map>

namespace halvane::client {

// Follows the numbered feed, on the client's own thread.
class Feed::Core : public Follower {
  public:
    Core(Client::Core& client, FeedOptions options);
    ~Core() override;
    Core(const Core&) = delete;
    Core& operator=(const Core&) = delete;

    void OnConnected() override;
    void OnLost() override;
    void OnPublication(const Message&) override {}
    Connection* OwnConnection() override { return connection_.get(); }
    void OnReadable() override;

    FeedState GetState() const;

  private:
    void Ask(const char* name, const Members& members, std::function<void(const Answer&)> then);
    void AskStatus();
    void TakeStatus(const Answer& answer);
    void TakeJournal(const std::string& journal);
    void OpenFeed();
    void FindTurn(std::int64_t from);
    void TakeTurn(std::int64_t from, const Answer& page);

    void TakeMessage(const Frames& frames);
    void TakeBeat(const Message& beat);
    void CatchUp();
    void TakePage(const Answer& answer);
    void TakeEvent(const Message& event);
    void UseWaiting();
    void NoteLast(std::int64_t last);
    void Deliver(FeedRow row);
    void Miss(std::int64_t first, std::int64_t last);
    bool HasRoom() const { return untold_ < kMostUntold; }
    void Handled();
    void SetState(bool available, bool live, const std::string& reason);

    static constexpr int kMostUntold = 10'000;

    Client::Core& client_;
    const FeedOptions options_;
    std::atomic<int> untold_ = 0;     // rows that wait for the handler
    std::atomic<bool> waits_ = false; // for room

    mutable Mutex lock_;
    FeedState state_ GUARDED_BY(lock_);

    // Of the client's own thread.
    std::unique_ptr<Connection> connection_;
    std::map<std::int64_t, FeedRow> waiting_; // that came while a gap before them was being closed
    std::string journal_;
    std::string run_;             // of the row before the next one
    int port_ = 0;                // of the feed
    std::int64_t ofKnownRun_ = 0; // the last row that is known to be of that run, or before it
    std::int64_t next_;           // 0 as long as it is not known
    bool asking_ = false;         // for a page
    bool again_ = false;          // there may be more
};

} // namespace halvane::client
