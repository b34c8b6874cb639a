#pragma once

#include "access/UnreadReplies.h"
#include "app/WorkerTurns.h"

#include <stop_token>
#include <string>
#include <vector>

namespace halvane {

// Moves requests from the clients' socket to the workers' and replies back, unchanged. What fails
// half-way, for want of memory as a rule, is logged and goes on from where it stood: nothing is
// lost by it. One thread's; must outlive the context of its sockets.
class Forwarding {
  public:
    // Ends when a stop is requested and the sockets' context is shut down. A worker that is asked
    // with the secret answers and does nothing else.
    void Run(void* front, void* back, const std::string& secret, std::stop_token stop);

    // What each worker has served, which it counts.
    WorkDone& DoneBy(std::size_t worker) { return turns_.DoneBy(worker); }

  private:
    void Step();
    bool MoveReply();
    void Ask();
    bool FindWorker();
    bool MoveRequest();

    UnreadReplies unread_{L"[RequestBroker]"};
    void* front_ = nullptr;
    void* back_ = nullptr;
    std::string secret_;
    std::vector<ZmqMessage> reply_; // on its way
    bool replyWaits_ = false;       // it is whole, and has not been sent
    WorkerTurns turns_;
};

} // namespace halvane
