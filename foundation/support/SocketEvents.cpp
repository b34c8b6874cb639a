#include "foundation/support/SocketEvents.h"

#include <array>
#include <cstdio>
#include <cstring>

namespace halvane {

ZmqSocket WatchSocket(void* context, void* socket, int kinds) {
    std::array<char, 64> name{};
    std::snprintf(name.data(), name.size(), "inproc://events-of-%p", socket);
    zmq_socket_monitor(socket, name.data(), kinds | ZMQ_EVENT_MONITOR_STOPPED);
    ZmqSocket events(zmq_socket(context, ZMQ_PAIR));
    SetZmqOption(events.get(), ZMQ_RCVHWM, 0); // a full queue would hold up the library itself
    zmq_connect(events.get(), name.data());
    return events;
}

void UnwatchSocket(void* socket) { zmq_socket_monitor(socket, nullptr, 0); }

std::optional<SocketEvent> NextSocketEvent(void* events, int flags) {
    std::array<ZmqMessage, 2> frames; // the event, and the address that it happened at
    for (ZmqMessage& frame : frames)
        while (!frame.Receive(events, flags))
            if (zmq_errno() != EINTR) return std::nullopt;
    SocketEvent event{};
    const char* bytes = frames[0].Bytes().data();
    std::memcpy(&event.kind, bytes, sizeof event.kind);
    std::memcpy(&event.value, bytes + sizeof event.kind, sizeof event.value);
    return event;
}

} // namespace halvane
