#pragma once

#include "app/Forwarding.h"
#include "foundation/support/Text.h"
#include "foundation/support/Zmq.h"

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace halvane {

class Feed;
class RepWorker;
class TradeApi;

// The only door for requests: clients connect to its front socket, the four request workers to its
// back socket on the loopback interface, with a secret that is new at every start: who else
// connects there would be dealt requests, and his replies would be believed. Every message goes
// through unchanged, in both directions. The broker's own thread is the only user of its sockets.
class RequestBroker {
  public:
    // The login type and the feed, null when it is off, are handed to the workers. The platform and
    // the feed must outlive the broker.
    RequestBroker(TradeApi& tradeApi, Text loginType, Feed* feed = nullptr);
    ~RequestBroker(); // stops the workers and the forwarding

    // Binds both sockets, starts the workers and forwards, all on a thread of its own: the front at
    // setting "RepPort" or the next free port, the back, setting "RelayPort", 10,000 below.
    void Start();

    // The front's port once it is bound, 0 before. Safe from any thread.
    int Port() const { return port_; }

  private:
    using Workers = std::vector<std::unique_ptr<RepWorker>>;

    void Serve(std::stop_token stop);
    void PrepareSockets();
    void StartWorkers(Workers workers);

    TradeApi& tradeApi_;
    Text loginType_;
    Feed* feed_;
    Forwarding forwarding_;
    ZmqContext context_; // its end releases what is unread
    ZmqSocket front_;
    ZmqSocket back_;
    std::string relaySecret_;
    std::atomic<int> port_ = 0;
    std::vector<std::jthread> workers_;
    std::jthread thread_;
};

} // namespace halvane
