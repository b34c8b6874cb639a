#pragma once

#include "foundation/support/Zmq.h"

#include <cstdint>
#include <optional>

namespace halvane {

// What the library tells of a socket's connections.
struct SocketEvent {
    std::uint16_t kind; // ZMQ_EVENT_...
    std::int32_t value; // by kind: a descriptor, a reason
};

// A socket from which the events of those kinds are read; the last one is
// ZMQ_EVENT_MONITOR_STOPPED.
ZmqSocket WatchSocket(void* context, void* socket, int kinds);

// Ends that; by the thread that uses the socket.
void UnwatchSocket(void* socket);

// Nothing when there is none, or none within the time-out that is set.
std::optional<SocketEvent> NextSocketEvent(void* events, int flags = 0);

} // namespace halvane
