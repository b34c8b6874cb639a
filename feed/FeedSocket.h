#pragma once

#include "feed/FeedRow.h"
#include "foundation/support/ConnectionWatch.h"
#include "foundation/support/Zmq.h"

#include <optional>
#include <random>
#include <vector>

namespace halvane {

// Numbers from and to, both included.
struct NumberRange {
    std::int64_t from = 0, to = 0;
};

// The numbered feed: a publish socket that says so when it has to drop something. Who is too slow
// holds up all others for a moment, and not again for a while; then it alone misses messages, and
// everybody is told from which numbers on somebody may have missed some. Of the feed's thread
// alone.
class FeedSocket {
  public:
    explicit FeedSocket(int mostWaiting); // for each subscriber

    // Binds to the port, for 0 to one that is drawn. False when none of a few was free.
    [[nodiscard]] bool Bind(TextView ip, int port);
    int Port() const { return port_; } // 0 before it is bound

    // Lets those in who have connected and takes away what they have subscribed to, which nobody
    // else reads, for some milliseconds at most. To be called now and then.
    void Admit();

    void Send(const FeedRow& row);

    // What is told once a second: how far the feed has come and what was dropped so far. Who is
    // full does not get it, and so gets one with the next second that finds room.
    void Beat(const FeedRow& last, const std::string& journalId);

    const std::vector<NumberRange>& Missed() const { return missed_; }

  private:
    bool TrySend(std::string_view topic, const std::string& header, std::string_view json);
    void SendToWhoHasRoom(std::string_view topic, const std::string& header, std::string_view json);
    void NoteMissed(std::int64_t number);

    ZmqContext context_ = MakeZmqContext();
    ZmqSocket socket_;
    std::optional<ConnectionWatch> watch_;
    std::mt19937 ports_{std::random_device{}()};
    int port_ = 0;
    std::vector<NumberRange> missed_; // in order
    bool dropping_ = false;           // the last row was dropped for somebody
    std::optional<std::uint32_t> waitedAt_;
};

} // namespace halvane
