#pragma once

#include "foundation/support/Text.h"

#include <zmq.h>

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace halvane {

// Owners of ZeroMQ's handles. A context may be used from any thread; a socket and a message by one
// thread at a time. A context's end waits for its sockets to be closed, not for unsent messages.

struct ZmqContextEnd {
    void operator()(void* context) const { zmq_ctx_term(context); }
};
struct ZmqSocketEnd {
    void operator()(void* socket) const { zmq_close(socket); }
};
using ZmqContext = std::unique_ptr<void, ZmqContextEnd>;
using ZmqSocket = std::unique_ptr<void, ZmqSocketEnd>;

ZmqContext MakeZmqContext();

// Binds to "tcp://<ip>:<port>". A port above 65535 is refused here: the library would cut it to 16
// bits and bind another one.
[[nodiscard]] bool BindTcp(void* socket, TextView ip, int port);

void SetZmqOption(void* socket, int option, int value);

// Whether it can be read or written, by ZMQ_POLLIN or ZMQ_POLLOUT.
bool IsReady(void* socket, int events);

class ZmqMessage {
  public:
    ZmqMessage() { zmq_msg_init(&message_); }
    // One frame without copying: the bytes and the zero byte behind them.
    static ZmqMessage WithTrailingZero(std::string bytes);
    ~ZmqMessage() { zmq_msg_close(&message_); }
    ZmqMessage(ZmqMessage&& other) noexcept : ZmqMessage() {
        zmq_msg_move(&message_, &other.message_);
    }
    explicit ZmqMessage(std::string_view bytes); // a copy of them
    ZmqMessage& operator=(ZmqMessage&& other) noexcept {
        zmq_msg_move(&message_, &other.message_);
        return *this;
    }

    // False when nothing was received: interrupted, not ready, or the context is ending.
    [[nodiscard]] bool Receive(void* socket, int flags = 0) {
        return zmq_msg_recv(&message_, socket, flags) >= 0;
    }
    // A further part of a message that has begun, which is there. False when the context is ending.
    [[nodiscard]] bool ReceiveRest(void* socket);
    // The message is empty afterwards when it was taken; false when it was not.
    bool Send(void* socket, int flags);

    // Has `work` done once the library has sent the content to the last byte, or dropped it: on one
    // of its own threads. The content is not copied. Where it throws nothing has changed.
    void OnRelease(std::function<void()> work);

    // The same content again, which is not copied.
    ZmqMessage Share() {
        ZmqMessage copy;
        zmq_msg_copy(&copy.message_, &message_);
        return copy;
    }

    // What the library knows of the connection that it came by; "" when it does not.
    std::string_view Property(const char* name) const {
        const char* const value = zmq_msg_gets(&message_, name);
        return value != nullptr ? value : "";
    }

    bool HasMore() const { return zmq_msg_more(&message_) != 0; }
    std::string_view Bytes() {
        return {static_cast<const char*>(zmq_msg_data(&message_)), zmq_msg_size(&message_)};
    }

  private:
    bool TakeOver(void* data, std::size_t size, zmq_free_fn* release, void* hint);

    zmq_msg_t message_;
};

// Receives one whole message, or the rest of one: `parts` are those of the last call, and where
// that has thrown this one goes on. False when there was none.
[[nodiscard]] bool ReceiveParts(void* socket, std::vector<ZmqMessage>& parts, int flags);

// Sends parts as one message; they are empty afterwards. False, and as good as lost, when they
// could not be taken.
bool SendParts(void* socket, std::span<ZmqMessage> parts);

// Sends one frame, as above. False when there is no one to send to any more.
bool SendWithTrailingZero(void* socket, std::string bytes);

} // namespace halvane
