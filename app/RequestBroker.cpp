#include "app/RequestBroker.h"

#include "foundation/logger/Log.h"
#include "foundation/support/AddressGuard.h"
#include "foundation/support/Clock.h"
#include "foundation/support/ConnectionWatch.h"
#include "foundation/support/Hex.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Random.h"
#include "foundation/support/Settings.h"
#include "request/RepWorker.h"

#include <algorithm>
#include <functional>
#include <new>
#include <optional>

namespace halvane {
namespace {

constexpr int kPortsPerTurn = 10000;
constexpr std::size_t kSecretBytes = 16;
constexpr const char* kRelay = "relay"; // the domain of the back socket

// On the front socket: clients are strangers and may vanish.
constexpr int kNoLimit = 0;       // in number; UnreadReplies has one in bytes
constexpr int kQueuedOfEach = 64; // requests of a connection; fewer cost half the throughput
constexpr int kHandshakeMs = 10000;
constexpr int kBacklog = 1024;

// A peer that vanished without a word frees its identity after 25 s. Not by the library's
// heartbeats: one that falls due on a connection that was reset while its input was stopped ends
// the process.
constexpr int kKeepAliveIdleS = 10;
constexpr int kKeepAliveIntervalS = 5;
constexpr int kKeepAliveProbes = 3;

// On the back socket. WorkerTurns limits the requests; the others are turns of a worker that have
// been passed, 64 bytes each. With so many of them the socket leaves it out by itself. Buffers
// smaller than a segment of the loopback interface make large requests wait for acknowledgements.
constexpr int kMostAtWorker = 100'000;
constexpr int kLinkBufferBytes = 65536;

// Binds to `port` or the next free one below `end`, beginning again 10,000 lower there. Nothing
// when a stop was requested.
std::optional<int> BindToNextFree(void* socket, const std::function<Text()>& ip, int port, int end,
                                  std::stop_token stop) {
    for (int refused = 0; !BindTcp(socket, ip(), port);) {
        if (++port >= end) port -= kPortsPerTurn;
        if (++refused % kPortsPerTurn == 0)
            Log().Warn(L"[RequestBroker]no free port found in %d tries on %s", refused, ip());
        if (!TheClock().Sleep(1, stop)) return std::nullopt;
    }
    return port;
}

} // namespace

RequestBroker::RequestBroker(TradeApi& tradeApi, Text loginType, Feed* feed)
    : tradeApi_(tradeApi), loginType_(std::move(loginType)), feed_(feed) {}

RequestBroker::~RequestBroker() {
    thread_ = {};
    workers_.clear();
}

void RequestBroker::Start() {
    thread_ = std::jthread([this](std::stop_token stop) {
        try {
            Serve(stop);
        } catch (const std::exception&) {
            Log().Fatal(L"[RequestBroker]out of resources");
        }
    });
}

void RequestBroker::Serve(std::stop_token stop) {
    context_ = MakeZmqContext();
    front_.reset(zmq_socket(context_.get(), ZMQ_ROUTER));
    back_.reset(zmq_socket(context_.get(), ZMQ_DEALER));
    if (front_ == nullptr || back_ == nullptr) throw std::bad_alloc();
    relaySecret_ = HexDigits(RandomBytes(kSecretBytes));
    AddressGuard guard(GetSetting(L"AllowAtPlainPorts"), GetSetting(L"MyIP"), [](const Text& from) {
        Log().Warn(L"[RequestBroker]a connection from %s was not let in", from);
    });
    const ZapThread zap(context_.get(), [&](const ZapRequest& request) {
        if (request.domain != kRelay) return guard.Judge(request);
        return KnowsSecret(request, relaySecret_) ? std::optional<std::string>("worker")
                                                  : std::nullopt;
    });
    PrepareSockets();
    guard.Guard(front_.get());
    // Made before strangers can connect and take all descriptors: the library does not survive
    // having none for a context.
    Workers workers(WorkerTurns::kWorkers);
    std::ranges::generate(
        workers, [this] { return std::make_unique<RepWorker>(loginType_, relaySecret_, feed_); });
    for (std::size_t n = 0; n < workers.size(); ++n)
        workers[n]->CountServed(forwarding_.DoneBy(n));
    const auto frontIp = [] { return GetSetting(L"MyIP"); };
    const auto front =
        BindToNextFree(front_.get(), frontIp, ToInt32(GetSetting(L"RepPort")), 60000, stop);
    if (!front) return;
    Log().Info(L"RepPort:%d", *front);
    port_ = *front;
    const auto backIp = [] { return Text(L"127.0.0.1"); };
    const auto back = BindToNextFree(back_.get(), backIp, *front - 10000, 50000, stop);
    if (!back) return;
    const auto noDescriptors = [](int refused) {
        Log().Warn(L"[RequestBroker]no descriptors left: %d connections refused", refused);
    };
    const ConnectionWatch frontWatch(context_.get(), front_.get(), noDescriptors);
    const ConnectionWatch backWatch(context_.get(), back_.get(), noDescriptors, [](int foreign) {
        Log().Warn(L"[RequestBroker]relay port: %d foreign connections refused", foreign);
    });
    SetSetting(L"RelayPort", DecimalText(*back)); // before the workers, which read it
    StartWorkers(std::move(workers));
    const std::stop_callback end(stop, [this] { zmq_ctx_shutdown(context_.get()); });
    forwarding_.Run(front_.get(), back_.get(), relaySecret_, stop);
}

void RequestBroker::PrepareSockets() {
    SetZmqOption(front_.get(), ZMQ_SNDHWM, kNoLimit);
    SetZmqOption(front_.get(), ZMQ_RCVHWM, kQueuedOfEach);
    SetZmqOption(front_.get(), ZMQ_HANDSHAKE_IVL, kHandshakeMs);
    SetZmqOption(front_.get(), ZMQ_TCP_KEEPALIVE, 1);
    SetZmqOption(front_.get(), ZMQ_TCP_KEEPALIVE_IDLE, kKeepAliveIdleS);
    SetZmqOption(front_.get(), ZMQ_TCP_KEEPALIVE_INTVL, kKeepAliveIntervalS);
    SetZmqOption(front_.get(), ZMQ_TCP_KEEPALIVE_CNT, kKeepAliveProbes);
    SetZmqOption(front_.get(), ZMQ_BACKLOG, kBacklog);
    const std::int64_t largest = WorkerTurns::kLargestRequest;
    zmq_setsockopt(front_.get(), ZMQ_MAXMSGSIZE, &largest, sizeof largest);
    AskForSecret(back_.get(), kRelay);
    SetZmqOption(back_.get(), ZMQ_SNDHWM, kMostAtWorker);
    SetZmqOption(back_.get(), ZMQ_SNDBUF, kLinkBufferBytes);
}

void RequestBroker::StartWorkers(Workers workers) {
    for (auto& each : workers) {
        workers_.emplace_back([this, worker = std::move(each)](std::stop_token stop) {
            worker->StartService(tradeApi_, stop);
        });
    }
}

} // namespace halvane
