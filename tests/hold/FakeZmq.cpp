#include "tests/hold/FakeZmq.h"

#include "foundation/support/Mutex.h"

#include <zmq.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace halvane::fake_zmq {

std::function<bool(const char* call)> fails;
std::function<void()> whenIdle;
thread_local int inside = 0;

namespace {

std::atomic<int> handles = 0;

struct Inside {
    Inside() { ++inside; }
    ~Inside() { --inside; }
};

// Shared by the copies of a message.
struct Content {
    std::string own;
    void* data = nullptr;
    std::size_t size = 0;
    zmq_free_fn* release = nullptr;
    void* hint = nullptr;
    int users = 1;
};

// What a zmq_msg_t holds; no content is an empty message.
struct Message {
    Content* content;
    bool more;
};
static_assert(sizeof(Message) <= sizeof(zmq_msg_t));

Message& In(const zmq_msg_t* message) {
    return *reinterpret_cast<Message*>(const_cast<zmq_msg_t*>(message));
}

Content* NewContent(std::string bytes) {
    auto* content = new Content{.own = std::move(bytes)};
    content->data = content->own.data();
    content->size = content->own.size();
    ++handles;
    return content;
}

void Drop(Content* content) {
    if (content == nullptr || --content->users > 0) return;
    if (content->release != nullptr) {
        const int here = std::exchange(inside, 0); // the owner's own work
        content->release(content->data, content->hint);
        inside = here;
    }
    delete content;
    --handles;
}

using Frames = std::vector<Content*>;

struct Socket;

struct Context {
    bool ended = false;
    int sockets = 0;
};

struct Parcel {
    Socket* from;
    Frames frames;
};

struct Socket {
    Context* context;
    int type;
    std::string identity;
    std::string endpoint; // of a PAIR and of what it watches: with the context's address
    std::vector<Socket*> peers{};
    std::deque<Parcel> in{};
    std::deque<Content*> reading{}; // the rest of a message
    Frames writing{};               // the parts so far
    Frames envelope{};              // of the request that a REP has not answered
    Socket* asker = nullptr;
    std::size_t sendLimit = 1000, receiveLimit = 1000; // 0: none
    std::size_t turn = 0;

    bool HasRoomFor(const Socket& sender) const {
        return receiveLimit == 0 || sender.sendLimit == 0 ||
               in.size() < receiveLimit + sender.sendLimit;
    }
    bool CanReceive() const { return !reading.empty() || !in.empty(); }
    bool CanSend() const {
        if (type != ZMQ_DEALER) return true;
        return std::ranges::any_of(peers, [&](Socket* each) { return each->HasRoomFor(*this); });
    }
};

struct Network {
    Mutex lock;
    std::condition_variable_any changed;
    std::map<std::string, Socket*> bound;
    std::vector<Socket*> sockets;
    int identities = 0;
};

Network& TheNetwork() {
    static auto* const network = new Network;
    return *network;
}

int Failure(int reason) {
    errno = reason;
    return -1;
}

bool LetFail(const char* call) { return fails && inside < TestsWork::kTests && fails(call); }

// A monitor is known to those of its context alone.
std::string Endpoint(const Socket& socket, const std::string& name) {
    if (!name.starts_with("inproc:")) return name;
    return name + "@" + std::to_string(reinterpret_cast<std::uintptr_t>(socket.context));
}

bool IsEmpty(const Content* frame) { return frame == nullptr || frame->size == 0; }

void DropAll(Frames& frames) {
    for (Content* each : std::exchange(frames, {}))
        Drop(each);
}

void Arrive(Socket& from, Socket& to, Frames frames) {
    // Without a delimiter nobody knows where a reply would go.
    if (to.type == ZMQ_REP && std::ranges::none_of(frames, IsEmpty)) return DropAll(frames);
    if (to.type == ZMQ_ROUTER) frames.insert(frames.begin(), NewContent(from.identity));
    to.in.push_back({&from, std::move(frames)});
    TheNetwork().changed.notify_all();
}

void PublishFrames(Socket& socket, Frames& frames) {
    for (Socket* peer : socket.peers) {
        if (!peer->HasRoomFor(socket)) continue;
        for (Content* each : frames)
            if (each != nullptr) ++each->users;
        Arrive(socket, *peer, frames);
    }
    DropAll(frames);
}

void Route(Socket& router, Frames frames) {
    const Content& to = *frames.front();
    const std::string_view identity(static_cast<const char*>(to.data), to.size);
    const auto peer = std::ranges::find(router.peers, identity, &Socket::identity);
    if (peer == router.peers.end()) return DropAll(frames);
    Drop(frames.front());
    frames.erase(frames.begin());
    Arrive(router, **peer, std::move(frames));
}

void Reply(Socket& socket, Frames frames) {
    frames.insert(frames.begin(), socket.envelope.begin(), socket.envelope.end());
    socket.envelope.clear();
    Socket* const asker = std::exchange(socket.asker, nullptr);
    if (std::ranges::count(socket.peers, asker) == 0) return DropAll(frames);
    Arrive(socket, *asker, std::move(frames));
}

// To the next in turn that has room.
void Deal(Socket& socket, Frames frames) {
    Socket* peer = nullptr;
    do
        peer = socket.peers[socket.turn++ % socket.peers.size()];
    while (!peer->HasRoomFor(socket));
    Arrive(socket, *peer, std::move(frames));
}

void Send(Socket& socket) {
    Frames frames = std::exchange(socket.writing, {});
    if (socket.type == ZMQ_PUB) return PublishFrames(socket, frames);
    if (socket.type == ZMQ_ROUTER) return Route(socket, std::move(frames));
    if (socket.type == ZMQ_REP) return Reply(socket, std::move(frames));
    Deal(socket, std::move(frames));
}

// Begins to read the oldest message.
void Open(Socket& socket) {
    Parcel parcel = std::move(socket.in.front());
    socket.in.pop_front();
    auto body = parcel.frames.begin();
    if (socket.type == ZMQ_REP) {
        body = std::find_if(body, parcel.frames.end(), IsEmpty) + 1;
        socket.asker = parcel.from;
        socket.envelope.assign(parcel.frames.begin(), body);
    }
    socket.reading.assign(body, parcel.frames.end());
    TheNetwork().changed.notify_all(); // there is room again
}

void Leave(Socket& socket) {
    Network& network = TheNetwork();
    std::erase_if(network.bound, [&](const auto& each) { return each.second == &socket; });
    std::erase(network.sockets, &socket);
    for (Socket* other : network.sockets) {
        std::erase(other->peers, &socket);
        for (Parcel& parcel : other->in)
            if (parcel.from == &socket) parcel.from = nullptr;
    }
    for (Parcel& parcel : socket.in)
        DropAll(parcel.frames);
    for (Content* each : socket.reading)
        Drop(each);
    DropAll(socket.writing);
    DropAll(socket.envelope);
}

short EventsOf(const Socket& socket) {
    return static_cast<short>((socket.CanReceive() ? ZMQ_POLLIN : 0) |
                              (socket.CanSend() ? ZMQ_POLLOUT : 0));
}

} // namespace

int OpenHandles() { return handles; }

} // namespace halvane::fake_zmq

using namespace halvane;
using namespace halvane::fake_zmq;

extern "C" {

int zmq_errno() { return errno; }

void* zmq_ctx_new() {
    const Inside here;
    if (LetFail("zmq_ctx_new")) return Failure(EMFILE), nullptr;
    ++handles;
    return new Context;
}

int zmq_ctx_set(void* context, int, int) { return context == nullptr ? Failure(EFAULT) : 0; }

int zmq_ctx_shutdown(void* context) {
    if (context == nullptr) return Failure(EFAULT);
    const MutexLock guard(TheNetwork().lock);
    static_cast<Context*>(context)->ended = true;
    TheNetwork().changed.notify_all();
    return 0;
}

int zmq_ctx_term(void* context) {
    const Inside here;
    if (context == nullptr) return Failure(EFAULT);
    auto* const ended = static_cast<Context*>(context);
    Network& network = TheNetwork();
    {
        MutexLock guard(network.lock);
        ended->ended = true;
        network.changed.notify_all();
        network.changed.wait(guard, [&] { return ended->sockets == 0; });
    }
    delete ended;
    --handles;
    return 0;
}

void* zmq_socket(void* context, int type) {
    const Inside here;
    if (context == nullptr) return Failure(EFAULT), nullptr;
    if (LetFail("zmq_socket")) return Failure(EMFILE), nullptr;
    Network& network = TheNetwork();
    const MutexLock guard(network.lock);
    auto* const socket = new Socket{static_cast<Context*>(context), type,
                                    "id" + std::to_string(++network.identities), ""};
    ++socket->context->sockets;
    network.sockets.push_back(socket);
    ++handles;
    return socket;
}

int zmq_close(void* handle) {
    const Inside here;
    if (handle == nullptr) return Failure(ENOTSOCK);
    auto* const socket = static_cast<Socket*>(handle);
    const MutexLock guard(TheNetwork().lock);
    Leave(*socket);
    --socket->context->sockets;
    TheNetwork().changed.notify_all();
    delete socket;
    --handles;
    return 0;
}

int zmq_setsockopt(void* handle, int option, const void* value, std::size_t size) {
    if (handle == nullptr) return Failure(ENOTSOCK);
    int number = 0;
    std::memcpy(&number, value, std::min(size, sizeof number));
    if (option == ZMQ_SNDHWM)
        static_cast<Socket*>(handle)->sendLimit = static_cast<unsigned>(number);
    if (option == ZMQ_RCVHWM)
        static_cast<Socket*>(handle)->receiveLimit = static_cast<unsigned>(number);
    return 0;
}

int zmq_getsockopt(void* handle, int option, void* value, std::size_t* size) {
    if (handle == nullptr || option == ZMQ_LAST_ENDPOINT) return Failure(EINVAL);
    if (LetFail("zmq_getsockopt")) return Failure(EINTR);
    const MutexLock guard(TheNetwork().lock);
    const int events = EventsOf(*static_cast<Socket*>(handle));
    std::memcpy(value, &events, *size);
    return 0;
}

int zmq_bind(void* handle, const char* endpoint) {
    const Inside here;
    if (handle == nullptr) return Failure(ENOTSOCK);
    if (LetFail("zmq_bind")) return Failure(EADDRINUSE);
    const MutexLock guard(TheNetwork().lock);
    auto* const socket = static_cast<Socket*>(handle);
    return TheNetwork().bound.emplace(endpoint, socket).second ? 0 : Failure(EADDRINUSE);
}

int zmq_connect(void* handle, const char* endpoint) {
    const Inside here;
    if (handle == nullptr) return Failure(ENOTSOCK);
    if (LetFail("zmq_connect")) return Failure(EINVAL);
    const MutexLock guard(TheNetwork().lock);
    auto* const socket = static_cast<Socket*>(handle);
    socket->endpoint = Endpoint(*socket, endpoint);
    const auto other = TheNetwork().bound.find(socket->endpoint);
    if (other == TheNetwork().bound.end()) return 0; // the library would try for ever
    socket->peers.push_back(other->second);
    other->second->peers.push_back(socket);
    TheNetwork().changed.notify_all();
    return 0;
}

int zmq_socket_monitor(void* handle, const char* endpoint, int) {
    const Inside here;
    if (handle == nullptr) return Failure(ENOTSOCK);
    auto* const socket = static_cast<Socket*>(handle);
    const MutexLock guard(TheNetwork().lock);
    if (endpoint != nullptr) return socket->endpoint = Endpoint(*socket, endpoint), 0;
    const std::uint16_t kind = ZMQ_EVENT_MONITOR_STOPPED;
    for (Socket* each : TheNetwork().sockets) {
        if (each->type != ZMQ_PAIR || each->endpoint != socket->endpoint) continue;
        const std::string bytes(reinterpret_cast<const char*>(&kind), sizeof kind);
        Arrive(*socket, *each, {NewContent(bytes + std::string(4, '\0')), NewContent("")});
    }
    return 0;
}

int zmq_poll(zmq_pollitem_t* items, int count, long timeoutMs) {
    if (LetFail("zmq_poll")) return Failure(ENOMEM);
    MutexLock guard(TheNetwork().lock);
    for (bool idle = false;; idle = true) {
        if (idle && whenIdle) {
            guard.unlock();
            whenIdle();
            guard.lock();
        } else if (idle) {
            TheNetwork().changed.wait(guard);
        }
        int ready = 0;
        for (zmq_pollitem_t* each = items; each != items + count; ++each) {
            if (each->socket == nullptr) return Failure(ENOTSOCK);
            const auto& socket = *static_cast<Socket*>(each->socket);
            if (socket.context->ended) return Failure(ETERM);
            each->revents = static_cast<short>(each->events & EventsOf(socket));
            ready += each->revents != 0 ? 1 : 0;
        }
        if (ready > 0 || timeoutMs >= 0) return ready;
    }
}

int zmq_msg_init(zmq_msg_t* message) {
    In(message) = {};
    return 0;
}

int zmq_msg_init_size(zmq_msg_t* message, std::size_t size) {
    const Inside here;
    if (LetFail("zmq_msg_init_size")) return Failure(ENOMEM);
    In(message) = {NewContent(std::string(size, '\0')), false};
    return 0;
}

int zmq_msg_init_data(zmq_msg_t* message, void* data, std::size_t size, zmq_free_fn* release,
                      void* hint) {
    const Inside here;
    if (LetFail("zmq_msg_init_data")) { // what the library leaves is no message
        In(message).content = reinterpret_cast<Content*>(1);
        return Failure(ENOMEM);
    }
    ++handles;
    In(message) = {new Content{{}, data, size, release, hint}, false};
    return 0;
}

int zmq_msg_close(zmq_msg_t* message) {
    const Inside here;
    Drop(In(message).content);
    In(message) = {};
    return 0;
}

int zmq_msg_move(zmq_msg_t* to, zmq_msg_t* from) {
    zmq_msg_close(to);
    In(to) = std::exchange(In(from), {});
    return 0;
}

void* zmq_msg_data(zmq_msg_t* message) {
    return In(message).content == nullptr ? message : In(message).content->data;
}

std::size_t zmq_msg_size(const zmq_msg_t* message) {
    return In(message).content == nullptr ? 0 : In(message).content->size;
}

int zmq_msg_more(const zmq_msg_t* message) { return In(message).more ? 1 : 0; }

int zmq_msg_recv(zmq_msg_t* message, void* handle, int flags) {
    const Inside here;
    if (handle == nullptr) return Failure(ENOTSOCK);
    if (LetFail("zmq_msg_recv")) return Failure(EINTR);
    auto& socket = *static_cast<Socket*>(handle);
    if (whenIdle && (flags & ZMQ_DONTWAIT) == 0 && !socket.CanReceive()) {
        const int depth = std::exchange(inside, 0);
        whenIdle();
        inside = depth;
    }
    MutexLock guard(TheNetwork().lock);
    if (socket.asker != nullptr && socket.reading.empty()) return Failure(EFSM);
    while (!socket.CanReceive()) {
        if (socket.context->ended) return Failure(ETERM);
        if ((flags & ZMQ_DONTWAIT) != 0) return Failure(EAGAIN);
        TheNetwork().changed.wait(guard);
    }
    if (socket.context->ended) return Failure(ETERM);
    if (socket.reading.empty()) Open(socket);
    zmq_msg_close(message);
    In(message) = {socket.reading.front(), socket.reading.size() > 1};
    socket.reading.pop_front();
    return static_cast<int>(zmq_msg_size(message));
}

int zmq_msg_send(zmq_msg_t* message, void* handle, int flags) {
    const Inside here;
    if (handle == nullptr) return Failure(ENOTSOCK);
    if (LetFail("zmq_msg_send")) return Failure(EINTR);
    auto& socket = *static_cast<Socket*>(handle);
    MutexLock guard(TheNetwork().lock);
    if (socket.type == ZMQ_REP && socket.asker == nullptr) return Failure(EFSM);
    while (!socket.CanSend()) {
        if (socket.context->ended) return Failure(ETERM);
        if ((flags & ZMQ_DONTWAIT) != 0) return Failure(EAGAIN);
        TheNetwork().changed.wait(guard);
    }
    if (socket.context->ended) return Failure(ETERM);
    const int size = static_cast<int>(zmq_msg_size(message));
    socket.writing.push_back(std::exchange(In(message), {}).content);
    if ((flags & ZMQ_SNDMORE) == 0) Send(socket);
    return size;
}
}
