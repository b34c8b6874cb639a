#include "relay/Reader.h"

#include <cstdio>

namespace halvane::relay {
namespace {

constexpr int kPatienceMs = 500;
constexpr int kMostSilences = 4; // until nothing is left, when nothing says so

std::uint64_t LeftBehind(natsMsg* message) {
    jsMsgMetaData* data = nullptr;
    if (natsMsg_GetMetaData(&data, message) != NATS_OK) return 1;
    const std::uint64_t left = data->NumPending;
    jsMsgMetaData_Destroy(data);
    return left;
}

void SetStart(jsConsumerConfig& config, const std::string& from) {
    if (const auto sequence = NumberOf(from)) {
        config.DeliverPolicy = js_DeliverByStartSequence;
        config.OptStartSeq = static_cast<std::uint64_t>(*sequence);
    } else if (const auto timeNs = TimeNsOf(from)) {
        config.DeliverPolicy = js_DeliverByStartTime;
        config.OptStartTime = *timeNs;
    }
}

void Print(natsMsg* message) {
    const std::string header = HeaderIn(message, kRowHeader);
    std::printf("%s\t%s\t", natsMsg_GetSubject(message), header.c_str());
    std::fwrite(natsMsg_GetData(message), 1,
                static_cast<std::size_t>(natsMsg_GetDataLength(message)), stdout);
    std::fputc('\n', stdout);
}

} // namespace

void Read(const Options& options, const std::stop_token& stop) {
    jsSubOptions wanted;
    jsSubOptions_Init(&wanted);
    SetStart(wanted.Config, options.from);
    ForEachRow(
        options.engine, options.subject, wanted, options.follow,
        [&](natsMsg* row) {
            Print(row);
            if (options.follow) std::fflush(stdout);
        },
        stop);
    std::fflush(stdout);
}

void ForEachRow(const Engine& engine, const std::string& subject, jsSubOptions& wanted, bool follow,
                const std::function<void(natsMsg*)>& take, const std::stop_token& stop) {
    const NatsConnection connection = Connect(engine, "HalvaneRelay reader");
    jsCtx* made = nullptr;
    Check(natsConnection_JetStream(&made, connection.get(), nullptr), "JetStream");
    const JetStream context(made);
    wanted.Stream = engine.stream.c_str();
    wanted.Ordered = true;
    natsSubscription* subscribed = nullptr;
    jsErrCode code = {};
    Check(js_SubscribeSync(&subscribed, made, subject.c_str(), nullptr, &wanted, &code),
          subject + " (" + std::to_string(code) + ")");
    const NatsSubscription rows(subscribed);
    for (int silences = 0; !stop.stop_requested() && (follow || silences < kMostSilences);) {
        natsMsg* next = nullptr;
        const natsStatus status = natsSubscription_NextMsg(&next, rows.get(), kPatienceMs);
        if (status == NATS_TIMEOUT) {
            silences++;
            continue;
        }
        Check(status, "the engine");
        const NatsMessage message(next);
        silences = 0;
        take(next);
        if (!follow && LeftBehind(next) == 0) break;
    }
}

} // namespace halvane::relay
