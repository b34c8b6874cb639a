#include "clients/cpp/Connection.h"

#include <atomic>
#include <cstring>

namespace halvane::client {
namespace {

constexpr int kGone = ZMQ_EVENT_DISCONNECTED | ZMQ_EVENT_CLOSED |
                      ZMQ_EVENT_HANDSHAKE_FAILED_NO_DETAIL | ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL |
                      ZMQ_EVENT_HANDSHAKE_FAILED_AUTH;

// A connection is made anew by a new socket, never by the library. To tell it so, by -1, or to keep
// messages from waiting for a connection (ZMQ_IMMEDIATE), makes it end a queue of what has come
// when the connection is lost: replies are gone, and where it strikes between two frames of one, it
// ends the process (4.3.4, fq.cpp:112).
constexpr int kNeverMs = 1'000'000'000;

void SetText(void* socket, int option, const std::string& text) {
    zmq_setsockopt(socket, option, text.data(), text.size());
}

void Prepare(void* socket, int kind, const CurveKeys& keys, const char* topic) {
    SetZmqOption(socket, ZMQ_LINGER, 0);
    SetZmqOption(socket, ZMQ_RCVHWM, 0);
    SetZmqOption(socket, ZMQ_SNDHWM, 0);
    SetZmqOption(socket, ZMQ_RECONNECT_IVL, kNeverMs);
    SetZmqOption(socket, ZMQ_TCP_KEEPALIVE, 1);
    if (kind == ZMQ_SUB) SetText(socket, ZMQ_SUBSCRIBE, topic);
    if (keys.server.empty()) return;
    SetText(socket, ZMQ_CURVE_SERVERKEY, keys.server);
    SetText(socket, ZMQ_CURVE_PUBLICKEY, keys.own);
    SetText(socket, ZMQ_CURVE_SECRETKEY, keys.secret);
}

std::string DrawMonitorAddress() {
    static std::atomic<int> last = 0;
    return "inproc://monitor-" + std::to_string(++last);
}

} // namespace

Connection::Connection(void* context, int kind, const std::string& address, const CurveKeys& keys,
                       const char* topic)
    : address_(address), socket_(zmq_socket(context, kind)),
      monitor_(zmq_socket(context, ZMQ_PAIR)) {
    Prepare(socket_.get(), kind, keys, topic);
    SetZmqOption(monitor_.get(), ZMQ_LINGER, 0);
    const std::string monitorAddress = DrawMonitorAddress();
    zmq_socket_monitor(socket_.get(), monitorAddress.c_str(),
                       ZMQ_EVENT_HANDSHAKE_SUCCEEDED | kGone);
    zmq_connect(monitor_.get(), monitorAddress.c_str());
    gone_ = zmq_connect(socket_.get(), address.c_str()) != 0;
}

Connection::~Connection() {
    // The library tells its monitor from a thread of its own, which must not find nobody there.
    zmq_socket_monitor(socket_.get(), nullptr, 0);
}

Connection::Change Connection::LookForChange() {
    Change change = gone_ ? Change::Gone : Change::None;
    for (ZmqMessage event; event.Receive(monitor_.get(), ZMQ_DONTWAIT);) {
        std::uint16_t what = 0;
        if (event.Bytes().size() >= sizeof what) {
            std::memcpy(&what, event.Bytes().data(), sizeof what);
        }
        ZmqMessage peer;
        if (event.HasMore()) static_cast<void>(peer.Receive(monitor_.get(), ZMQ_DONTWAIT));
        if (what == ZMQ_EVENT_HANDSHAKE_SUCCEEDED) {
            connected_ = true;
            change = Change::Connected;
        } else if ((what & kGone) != 0) {
            gone_ = true;
            connected_ = false;
            return Change::Gone;
        }
    }
    return change;
}

bool Connection::Receive(Frames& frames) {
    frames.clear();
    ZmqMessage frame;
    int flags = ZMQ_DONTWAIT;
    do {
        if (!frame.Receive(socket_.get(), flags)) return false;
        frames.emplace_back(frame.Bytes());
        flags = 0;
    } while (frame.HasMore());
    return true;
}

bool Connection::Send(const std::vector<std::string_view>& frames) {
    for (std::size_t i = 0; i < frames.size(); i++) {
        const int flags = ZMQ_DONTWAIT | (i + 1 < frames.size() ? ZMQ_SNDMORE : 0);
        if (zmq_send(socket_.get(), frames[i].data(), frames[i].size(), flags) < 0) return false;
    }
    return true;
}

} // namespace halvane::client
