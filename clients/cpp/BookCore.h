#pragma once

#include "clients/cpp/Core.h"
#include "clients/cpp/Records.h"

#include <set>

namespace halvane::client {

// Reads the book and keeps it, on the client's own thread.
class Book::Core : public Follower {
  public:
    Core(Client::Core& client, BookOptions options);
    ~Core() override;
    Core(const Core&) = delete;
    Core& operator=(const Core&) = delete;

    void OnConnected() override;
    void OnLost() override;
    void OnPublication(const Message& publication) override;

    void RefreshPositions(); // from any thread

    struct AccountPositions {
        std::vector<Message> rows;
        Time read;
    };

    // What other threads see.
    mutable Mutex lock;
    mutable std::condition_variable_any becameLive;
    Records records GUARDED_BY(lock);
    Lives lives GUARDED_BY(lock);
    std::map<std::string, AccountPositions, std::less<>> positions GUARDED_BY(lock);
    std::vector<Message> accounts GUARDED_BY(lock);
    bool live GUARDED_BY(lock) = false;
    bool complete GUARDED_BY(lock) = false;

  private:
    struct List {
        const char* request;
        void (*take)(Records& book, const Message& row);
    };
    static const List kLists[];

    void Ask(const char* name, const Members& members, std::function<void(const Answer&)> then);
    void ReadSoon();
    void Read();
    void AskPage(std::size_t list, const std::string& index);
    void TakePage(std::size_t list, const Answer& answer);
    void FailToRead(const Answer& answer);
    void Succeed();

    void TakeReport(const Message& report);
    void TakeFill(const Message& fill);
    void TakeReset();
    bool IsMine(const Message& row) const;

    void AskAccounts();
    void TakeAccounts(std::vector<Message> rows);
    void WantPositions(const std::string& mask, Duration delay);
    void WantAllPositions();
    void RepeatPositions();
    void SchedulePositions();
    void AskPositions(const std::string& mask, const std::string& index);
    void TakePositions(const std::string& mask, const Answer& answer);

    void Tell(const std::function<void(BookChange&)>& note) REQUIRES(lock);

    Client::Core& client_;
    const BookOptions options_;
    BookChange change_ GUARDED_BY(lock);
    bool telling_ GUARDED_BY(lock) = false;

    // Of the client's own thread.
    std::unique_ptr<Records> next_; // being read
    bool heard_ = false;            // anything over this connection
    bool heardBefore_ = false;      // the reading began
    bool again_ = false;            // read once more when it is done
    bool readingSoon_ = false;
    std::int64_t restUntilUs_ = 0;
    int link_ = 0; // grows with each connection
    int readOver_ = 0;
    int resets_ = 0;
    int resetsBefore_ = 0; // the reading began
    int readAfter_ = 0;    // as many resets

    std::map<std::string, std::int64_t> due_; // account masks, and from when on
    std::map<std::string, std::int64_t> asked_;
    std::vector<Message> positionRows_; // of the pages so far
    bool askingPositions_ = false;
    bool positionsScheduled_ = false;
};

} // namespace halvane::client
