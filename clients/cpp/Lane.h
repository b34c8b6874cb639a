#pragma once

#include "clients/cpp/Connection.h"
#include "clients/cpp/Timers.h"
#include "clients/cpp/halvane.h"

#include <deque>
#include <map>

namespace halvane::client {

// A request on its way.
struct Request {
    std::string name;
    std::string members; // JSON, the braces left out
    bool repeatable = false;
    bool heavy = false;
    bool thisLinkOnly = false;
    const void* owner = nullptr;
    std::int64_t endUs = 0;
    std::function<void(const Answer&)> then; // on the client's own thread; exactly once

    std::string sessionKey = {}; // with which it was last sent
    bool renewed = false;        // its session had ended, and it was sent again
    Timers::Id timer = {};
};

// Requests on a socket of their own: each is answered by the reply that bears its number. At most
// `limit` are out at once, 0 for any number: one whose time is over still counts until its reply
// has come. Used by one thread.
class Lane {
  public:
    Lane(void* context, const std::string& address, const CurveKeys& keys, std::size_t limit)
        : connection_(context, ZMQ_DEALER, address, keys), limit_(limit) {}

    Connection& GetConnection() { return connection_; }

    // False when the connection is gone: the request waits here to be taken back.
    bool Send(std::unique_ptr<Request> request, const std::string& sessionKey);

    // The next reply and what it answers, null when nobody waits for it any more; false when there
    // is none.
    bool Receive(std::unique_ptr<Request>& request, std::string& reply);

    // Gives requests back that are not answered yet, and whether they were sent.
    struct Found {
        std::unique_ptr<Request> request;
        bool wasSent = false;
    };
    Found Take(const Request* request); // null when it is not here
    std::vector<Found> TakeAll();

    // Nobody is told any more what becomes of this owner's requests.
    void Forget(const void* owner);

  private:
    bool SendFromQueue();

    Connection connection_;
    std::size_t limit_;
    std::int64_t lastNumber_ = 0;
    std::map<std::int64_t, std::unique_ptr<Request>> out_; // null: its time is over
    std::deque<std::unique_ptr<Request>> queue_;
    Frames frames_;
};

} // namespace halvane::client
