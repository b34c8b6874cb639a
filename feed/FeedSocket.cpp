#include "feed/FeedSocket.h"

#include "foundation/logger/Log.h"
#include "foundation/support/Clock.h"

namespace halvane {
namespace {

constexpr int kFirstPort = 50000;
constexpr int kLastPort = 60000;
constexpr int kDraws = 64;

// The library keeps some 32 bytes for each byte of a subscription; a kind, an account and a symbol
// take less than this.
constexpr std::int64_t kLargestSubscription = 256;
constexpr std::uint32_t kAdmitMs = 20;
constexpr std::uint32_t kPatienceMs = 200;
constexpr std::uint32_t kImpatientMs = 10'000; // after that
constexpr std::size_t kMostMissed = 16;
// The first thing that is heard on every connection, also on one that the library has made again
// by itself: what was sent before it is to be asked for.
constexpr std::string_view kHello = "FEEDHELLO";
constexpr std::string_view kBeat = "FEEDBEAT";

bool SendPart(void* socket, std::string_view bytes, int flags) {
    return zmq_send(socket, bytes.data(), bytes.size(), flags | ZMQ_DONTWAIT) >= 0;
}

std::string HeaderOf(const FeedRow& row, std::string_view origin) {
    return std::to_string(row.number)
        .append(1, ' ')
        .append(row.run)
        .append(1, ' ')
        .append(std::to_string(row.timeNs))
        .append(1, ' ')
        .append(origin);
}

} // namespace

FeedSocket::FeedSocket(int mostWaiting) : socket_(zmq_socket(context_.get(), ZMQ_XPUB)) {
    SetZmqOption(socket_.get(), ZMQ_SNDHWM, mostWaiting);
    SetZmqOption(socket_.get(), ZMQ_TCP_KEEPALIVE, 1);
    SetZmqOption(socket_.get(), ZMQ_XPUB_NODROP, 1);
    zmq_setsockopt(socket_.get(), ZMQ_XPUB_WELCOME_MSG, kHello.data(), kHello.size());
    zmq_setsockopt(socket_.get(), ZMQ_MAXMSGSIZE, &kLargestSubscription,
                   sizeof kLargestSubscription);
}

bool FeedSocket::Bind(TextView ip, int port) {
    std::uniform_int_distribution<int> draw(kFirstPort, kLastPort);
    for (int tries = port == 0 ? kDraws : 1; tries > 0 && port_ == 0; --tries) {
        const int tried = port == 0 ? draw(ports_) : port;
        if (BindTcp(socket_.get(), ip, tried)) port_ = tried;
    }
    if (port_ == 0) return false;
    watch_.emplace(context_.get(), socket_.get(), [](int refused) {
        Log().Warn(L"[Feed]no descriptors left: %d connections refused", refused);
    });
    return true;
}

void FeedSocket::Admit() {
    const std::uint32_t start = TheClock().TickCount();
    for (ZmqMessage message; TheClock().TickCount() - start < kAdmitMs &&
                             message.Receive(socket_.get(), ZMQ_DONTWAIT);) {
    }
}

// The library checks for room at the first part, and then takes the others.
bool FeedSocket::TrySend(std::string_view topic, const std::string& header, std::string_view json) {
    return SendPart(socket_.get(), topic, ZMQ_SNDMORE) &&
           SendPart(socket_.get(), header, ZMQ_SNDMORE) && SendPart(socket_.get(), json, 0);
}

void FeedSocket::Send(const FeedRow& row) {
    const std::string topic = TopicOf(row.route);
    const std::string header = HeaderOf(row, row.recovered ? "recovered" : "live");
    if (TrySend(topic, header, row.json)) {
        dropping_ = false;
        return;
    }
    const std::uint32_t start = TheClock().TickCount();
    const bool patient = !waitedAt_ || start - *waitedAt_ > kImpatientMs;
    while (patient && TheClock().TickCount() - start < kPatienceMs) {
        TheClock().Sleep(1);
        if (!TrySend(topic, header, row.json)) continue;
        dropping_ = false;
        return;
    }
    if (patient) {
        waitedAt_ = TheClock().TickCount();
        Log().Warn(L"[Feed]a subscriber is too slow and misses what follows number %lld",
                   row.number - 1);
    }
    SendToWhoHasRoom(topic, header, row.json);
    NoteMissed(row.number);
}

// To the library who is full is away then, until it has read half of what waits for it.
void FeedSocket::SendToWhoHasRoom(std::string_view topic, const std::string& header,
                                  std::string_view json) {
    SetZmqOption(socket_.get(), ZMQ_XPUB_NODROP, 0);
    TrySend(topic, header, json);
    SetZmqOption(socket_.get(), ZMQ_XPUB_NODROP, 1);
}

void FeedSocket::NoteMissed(std::int64_t number) {
    if (dropping_) {
        missed_.back().to = number;
        return;
    }
    dropping_ = true;
    missed_.push_back({number, number});
    if (missed_.size() > kMostMissed) { // rather too much is asked for again than too little
        missed_[1].from = missed_[0].from;
        missed_.erase(missed_.begin());
    }
}

void FeedSocket::Beat(const FeedRow& last, const std::string& journalId) {
    std::string json = R"({"DataType":"FEEDBEAT","Journal":")" + journalId + R"(","Last":")" +
                       std::to_string(last.number) + R"(","Missed":[)";
    for (const NumberRange& range : missed_) {
        if (json.back() == '}') json += ',';
        json += R"({"From":")" + std::to_string(range.from) + R"(","To":")" +
                std::to_string(range.to) + "\"}";
    }
    json += "]}";
    const std::string header = HeaderOf(last, "beat");
    if (TrySend(kBeat, header, json)) return;
    SendToWhoHasRoom(kBeat, header, json);
    NoteMissed(last.number + 1); // which comes, and not for all
}

} // namespace halvane
