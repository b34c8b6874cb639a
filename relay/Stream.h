#pragma once

#include "relay/Nats.h"
#include "relay/Row.h"

#include <deque>
#include <functional>

namespace halvane::relay {

// The stream that all desks' rows go into, over one connection. The engine is told with each row
// which number of its own it must get, so it refuses all that follows a row that it has not taken,
// and whatever another relay puts between: no hole and no double can come about, whoever is killed.
// After any fault the stream is opened anew, and each feed goes on behind its last row in it.
// For one thread; everything throws NatsFault, but for the end.
class Stream {
  public:
    // Connects, and makes the stream when there is none. `stored` is called for each row that the
    // engine has acknowledged, in their order.
    Stream(const Engine& engine, std::function<void(const Row&)> stored);

    // Where the feed of that desk goes on; nothing when the stream has nothing of it.
    std::optional<Position> PositionOf(const std::string& desk);

    // Waits as long as too many rows are not acknowledged.
    void Publish(Row row);

    // Takes the acknowledgements that have come, waiting for the first one up to so long.
    void TakeAcks(int timeoutMs);

    bool IsIdle() const { return underWay_.empty(); }

    // Rows that are larger cannot be published.
    std::size_t LargestRow() const { return largest_; }

  private:
    struct Sent {
        std::uint64_t sequence;
        std::int64_t atUs;
        Row row; // its JSON left out
    };

    void OpenStream();
    void TakeAck(const std::string& ack);
    void CheckPatience() const;

    const Engine engine_;
    const std::function<void(const Row&)> stored_;
    NatsConnection connection_;
    JetStream jetStream_;
    std::string inbox_;
    NatsSubscription acks_;
    std::uint64_t lastSequence_ = 0; // that the engine has, or was told that it must give
    std::size_t largest_ = 0;
    std::deque<Sent> underWay_;
};

} // namespace halvane::relay
