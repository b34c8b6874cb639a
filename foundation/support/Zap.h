#pragma once

#include "foundation/support/Zmq.h"

#include <optional>
#include <thread>
#include <vector>

namespace halvane {

// Somebody who has connected to a socket and is not let in yet.
struct ZapRequest {
    std::string domain;  // of the socket, ZMQ_ZAP_DOMAIN
    std::string address; // of the peer
    std::string mechanism;
    std::vector<std::string> credentials; // PLAIN: name, password; CURVE: the public key, 32 bytes
};

// Decides who is let in, and gives the name under which that is, which every message then has as
// its "User-Id"; nothing for who is not.
using ZapJudge = std::function<std::optional<std::string>(const ZapRequest& request)>;

// Where the library asks who may connect to the sockets of a context: once for each connection,
// never for a message. It asks for sockets with PLAIN or CURVE and for those with a domain. One for
// each context, to be made before such a socket is bound.
class ZapSocket {
  public:
    explicit ZapSocket(void* context);

    void* Get() { return socket_.get(); } // to be polled

    // Answers one question. False when there was none to answer. Throws without memory to read it,
    // and may be called again.
    bool AnswerNext(const ZapJudge& judge, int flags = ZMQ_DONTWAIT);

  private:
    std::optional<std::string> Judge(const ZapJudge& judge);

    ZmqSocket socket_;
    std::vector<ZmqMessage> question_;
};

// The same with a thread of its own, on which the judge is called.
class ZapThread {
  public:
    ZapThread(void* context, ZapJudge judge);
    ~ZapThread(); // before the context's, which may have been shut down
    ZapThread(const ZapThread&) = delete;
    ZapThread& operator=(const ZapThread&) = delete;

  private:
    void* context_;
    std::jthread thread_;
};

// A secret for a socket, by the library's PLAIN mechanism: what the server's sockets with that
// domain ask for, what a client's socket says, and whether a client has said it. To be set before
// the socket is bound or connects.
void AskForSecret(void* socket, const char* domain);
void SaySecret(void* socket, const std::string& secret);
bool KnowsSecret(const ZapRequest& request, const std::string& secret);

} // namespace halvane
