#pragma once

#include "clients/cpp/halvane.h"
#include "desk/Board.h"
#include "desk/LogTail.h"
#include "desk/Records.h"
#include "foundation/support/Text.h"
#include "foundation/support/WorkQueue.h"

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace halvane::desk {

struct Watched {
    client::Options gateway;
    Text logs; // the folder of its log; "" when it is on another machine
};

// Follows one gateway as a client of it and writes on a board what the page shows. Two threads of
// its own beside the client's: one asks every second how the gateway is, one cancels orders.
class Watch {
  public:
    // What became of a cancellation: how many requests the gateway took, those it did not with the
    // reason, and those that were not sent any more since nobody answered; as JSON.
    using Cancelled = std::function<void(std::string result)>;

    Watch(int number, Watched watched);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    // Safe from any thread, as all that follows.
    const Board& GetBoard() const { return board_; }
    const client::Options& Gateway() const { return gateway_; }

    // All states of an order and its fills as JSON; nothing when it is not known.
    std::optional<std::string> LifeOf(std::string_view reportId) const;

    // The ReportIDs of the orders that work, of one account.
    std::vector<std::string> WorkingOf(std::string_view accountMask) const;

    // `then` is called once, on another thread.
    void Cancel(std::vector<std::string> reportIds, Cancelled then);

  private:
    struct Cancellation {
        std::vector<std::string> reportIds;
        Cancelled then;
    };
    struct Totals {
        std::string started; // which run of the gateway they are of
        std::int64_t atMs = 0;
        double requests = 0, publications = 0;
    };

    void TakeBook(const client::BookChange& change);
    void TakeState(const client::State& state);
    void RereadBook();
    void PutOrder(const client::Message& order);
    void PutFill(const client::Message& fill);
    void TakeStatus(const client::Answer& answer);
    void TakeFeed(const client::Answer& answer);
    void TakeRates(const client::Message& status, std::int64_t nowMs);
    void AskHowItIs(int second);
    void AskForFunds();
    void RunEverySecond(const std::stop_token& stop);
    void RunCancellations(const std::stop_token& stop);
    std::string CancelAll(const std::vector<std::string>& reportIds);

    const client::Options gateway_;
    Board board_;
    LogTail log_; // of the thread that asks every second

    // Of the client's handlers, which are called one after the other.
    std::unordered_map<std::string, Birth> orders_; // by ReportID
    std::unordered_map<std::string, Birth> fills_;
    Totals last_;      // of the reply before
    Totals pointFrom_; // where the chart's present point begins

    std::atomic<int> statusUnderWay_ = 0;
    std::atomic<int> fundsUnderWay_ = 0;
    std::atomic<bool> hasFeed_ = true; // until the gateway says that it has none

    Mutex begun_; // held until there is a book, and for as long as its changes are taken
    bool ended_ GUARDED_BY(begun_) = false;
    std::optional<client::Client> client_;
    std::optional<client::Book> book_;
    WorkQueue<Cancellation> cancellations_;
    std::jthread seconds_;
    std::jthread canceller_;
};

} // namespace halvane::desk
