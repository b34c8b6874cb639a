#pragma once

#include "foundation/support/Zmq.h"

#include <functional>
#include <string>
#include <vector>

namespace halvane::client {

using Frames = std::vector<std::string>;

// What a socket needs to speak to an encrypted door; empty for a plain one.
struct CurveKeys {
    std::string server, own, secret; // Z85 text
};

// One socket that connects once and never mends its connection: a mended one would deliver old
// orders late and hide that publications are missing. Used by one thread.
class Connection {
  public:
    enum class Change { None, Connected, Gone };

    // A subscription is to what begins with `topic`.
    Connection(void* context, int kind, const std::string& address, const CurveKeys& keys,
               const char* topic = "");
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void* Socket() const { return socket_.get(); } // both to be polled
    void* Monitor() const { return monitor_.get(); }

    // What happened to the connection since the last call; Gone is for ever.
    Change LookForChange();
    bool IsConnected() const { return connected_; }

    // One message, if there is one. The vector keeps its room.
    bool Receive(Frames& frames);

    // False when the connection is not there any more: then nothing was sent.
    bool Send(const std::vector<std::string_view>& frames);

    const std::string& Address() const { return address_; }

  private:
    std::string address_;
    ZmqSocket socket_;
    ZmqSocket monitor_;
    bool connected_ = false;
    bool gone_ = false;
};

} // namespace halvane::client
