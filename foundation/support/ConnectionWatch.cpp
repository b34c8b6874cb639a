#include "foundation/support/ConnectionWatch.h"

#include "foundation/support/DescriptorLimit.h"
#include "foundation/support/SocketEvents.h"
#include "foundation/support/Teller.h"

#include <array>
#include <cstdlib>
#include <cstring>

namespace halvane {
namespace {

int PortOf(void* socket) {
    std::array<char, 256> endpoint{};
    std::size_t size = endpoint.size() - 1;
    zmq_getsockopt(socket, ZMQ_LAST_ENDPOINT, endpoint.data(), &size);
    const char* const separator = std::strrchr(endpoint.data(), ':');
    return separator != nullptr ? std::atoi(separator + 1) : 0;
}

void Watch(void* events, int port, Teller refused, Teller failed) {
    for (;;) {
        const std::optional<SocketEvent> event = NextSocketEvent(events);
        if (!event && zmq_errno() != EAGAIN) return;
        if (event && event->kind == ZMQ_EVENT_MONITOR_STOPPED) return;
        if (event && event->kind == ZMQ_EVENT_ACCEPTED) {
            if (CloseIfOfReserve(event->value, port)) refused.Count();
        } else if (event) {
            failed.Count();
        }
        refused.TellWhenDue();
        failed.TellWhenDue();
    }
}

} // namespace

ConnectionWatch::ConnectionWatch(void* context, void* socket, Tell refused, Tell failed)
    : socket_(socket) {
    constexpr int kFailed = ZMQ_EVENT_HANDSHAKE_FAILED_NO_DETAIL |
                            ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL | ZMQ_EVENT_HANDSHAKE_FAILED_AUTH;
    ZmqSocket events = WatchSocket(context, socket, ZMQ_EVENT_ACCEPTED | (failed ? kFailed : 0));
    // A burst is told of when it is over: without descriptors even the log finds none.
    SetZmqOption(events.get(), ZMQ_RCVTIMEO, Teller::kBurstMs);
    thread_ = std::thread(
        [events = std::move(events), port = PortOf(socket), refusals = Teller(std::move(refused)),
         failures = Teller(std::move(failed))] { Watch(events.get(), port, refusals, failures); });
}

ConnectionWatch::~ConnectionWatch() {
    UnwatchSocket(socket_);
    thread_.join();
}

} // namespace halvane
