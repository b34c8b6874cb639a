#include "foundation/support/ConnectionLimit.h"

#include "foundation/support/Clock.h"
#include "foundation/support/Zmq.h"

#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>

namespace halvane {
namespace {

constexpr const char* kEvents = "inproc://connections";
constexpr rlim_t kLargestReserve = 64;
constexpr int kBurstMs = 500;
constexpr std::uint32_t kSilenceMs = 60'000;

struct Event {
    std::uint16_t kind;
    std::int32_t value;
};

// Nothing when there is none for a moment.
std::optional<Event> NextEvent(void* events) {
    std::array<ZmqMessage, 2> frames; // the event, and the address that it happened at
    for (ZmqMessage& frame : frames)
        while (!frame.Receive(events))
            if (zmq_errno() != EINTR) return std::nullopt;
    Event event{};
    const char* bytes = frames[0].Bytes().data();
    std::memcpy(&event.kind, bytes, sizeof event.kind);
    std::memcpy(&event.value, bytes + sizeof event.kind, sizeof event.value);
    return event;
}

int PortOf(void* socket) {
    std::array<char, 256> endpoint{};
    std::size_t size = endpoint.size() - 1;
    zmq_getsockopt(socket, ZMQ_LAST_ENDPOINT, endpoint.data(), &size);
    const char* const separator = std::strrchr(endpoint.data(), ':');
    return separator != nullptr ? std::atoi(separator + 1) : 0;
}

bool IsAtPort(int descriptor, int port) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    return getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
           ntohs(address.sin_port) == port;
}

// The system gives the lowest number that is free: when it gives one from the reserve, all those
// below are taken.
bool IsOfReserve(int descriptor) {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return false;
    const rlim_t reserve = std::min(limit.rlim_cur / 8, kLargestReserve);
    return static_cast<rlim_t>(descriptor) >= limit.rlim_cur - reserve;
}

// Tells of what was refused when the burst is over, in which even the log finds no descriptor, and
// then not again for a while.
class Teller {
  public:
    explicit Teller(std::function<void(int)> tell) : tell_(std::move(tell)) {}

    void Count() {
        if (untold_++ > 0) return;
        since_ = TheClock().TickCount();
        waitMs_ = told_ && since_ - *told_ < kSilenceMs ? kSilenceMs : kBurstMs;
    }
    void TellWhenDue() {
        if (untold_ == 0 || TheClock().TickCount() - since_ < waitMs_) return;
        tell_(std::exchange(untold_, 0));
        told_ = TheClock().TickCount();
    }

  private:
    std::function<void(int)> tell_;
    int untold_ = 0;
    std::uint32_t since_ = 0; // when the first of these came
    std::uint32_t waitMs_ = 0;
    std::optional<std::uint32_t> told_;
};

// The connection may have ended meanwhile and its number stand for something else. If that is
// another connection to the same port, it is one too many as well.
bool Refuse(int descriptor, int port) {
    return IsOfReserve(descriptor) && IsAtPort(descriptor, port) &&
           shutdown(descriptor, SHUT_RDWR) == 0;
}

void Watch(void* events, int port, Teller teller) {
    for (;;) {
        const std::optional<Event> event = NextEvent(events);
        if (!event && zmq_errno() != EAGAIN) return;
        if (event && event->kind != ZMQ_EVENT_ACCEPTED) return; // the socket is watched no more
        if (event && Refuse(event->value, port)) teller.Count();
        teller.TellWhenDue();
    }
}

} // namespace

ConnectionLimit::ConnectionLimit(void* context, void* socket, std::function<void(int)> refused)
    : socket_(socket) {
    zmq_socket_monitor(socket, kEvents, ZMQ_EVENT_ACCEPTED | ZMQ_EVENT_MONITOR_STOPPED);
    ZmqSocket events(zmq_socket(context, ZMQ_PAIR));
    SetZmqOption(events.get(), ZMQ_RCVHWM, 0); // a full queue would hold up the library itself
    SetZmqOption(events.get(), ZMQ_RCVTIMEO, kBurstMs);
    zmq_connect(events.get(), kEvents);
    thread_ =
        std::thread([events = std::move(events), port = PortOf(socket),
                     teller = Teller(std::move(refused))] { Watch(events.get(), port, teller); });
}

ConnectionLimit::~ConnectionLimit() {
    zmq_socket_monitor(socket_, nullptr, 0);
    thread_.join();
}

void RaiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace halvane
