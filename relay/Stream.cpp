#include "relay/Stream.h"

#include "foundation/support/Clock.h"

#include <charconv>

namespace halvane::relay {
namespace {

constexpr std::size_t kMostUnderWay = 4'096;
constexpr std::int64_t kAckPatienceUs = 10'000'000;
constexpr std::int64_t kSearchMs = 60'000; // for a last row that lies far back
constexpr std::int64_t kSecondNs = 1'000'000'000;
constexpr std::size_t kHeaderRoom = 4'096;

void SetHeader(natsMsg* message, const char* name, const std::string& value) {
    Check(natsMsgHeader_Set(message, name, value.c_str()), name);
}

} // namespace

Stream::Stream(const Engine& engine, std::function<void(const Row&)> stored)
    : engine_(engine), stored_(std::move(stored)), connection_(Connect(engine, "HalvaneRelay")),
      inbox_(DrawInbox(engine)) {
    jsCtx* context = nullptr;
    Check(natsConnection_JetStream(&context, connection_.get(), nullptr), "JetStream");
    jetStream_.reset(context);
    natsSubscription* acks = nullptr;
    Check(natsConnection_SubscribeSync(&acks, connection_.get(), inbox_.c_str()), inbox_);
    acks_.reset(acks);
    const auto payload = static_cast<std::size_t>(natsConnection_GetMaxPayload(connection_.get()));
    largest_ = payload > kHeaderRoom ? payload - kHeaderRoom : 0;
    OpenStream();
}

void Stream::OpenStream() {
    jsStreamInfo* info = nullptr;
    jsErrCode code = {};
    natsStatus status =
        js_GetStreamInfo(&info, jetStream_.get(), engine_.stream.c_str(), nullptr, &code);
    if (code == JSStreamNotFoundErr) {
        const char* subjects[] = {"halvane.feed.>"};
        jsStreamConfig config;
        jsStreamConfig_Init(&config);
        config.Name = engine_.stream.c_str();
        config.Subjects = subjects;
        config.SubjectsLen = 1;
        config.MaxBytes = engine_.maxMegabytes > 0 ? engine_.maxMegabytes << 20 : -1;
        config.MaxAge = engine_.keepDays * 86'400 * kSecondNs;
        config.Duplicates = engine_.dedupeSeconds * kSecondNs;
        status = js_AddStream(&info, jetStream_.get(), &config, nullptr, &code);
    }
    Check(status, "the stream " + engine_.stream + " (" + std::to_string(code) + ")");
    const StreamInfo owner(info);
    lastSequence_ = info->State.LastSeq;
}

std::optional<Position> Stream::PositionOf(const std::string& desk) {
    jsOptions options;
    jsOptions_Init(&options);
    options.Wait = kSearchMs;
    const std::string subject = "halvane.feed." + desk + ".>";
    natsMsg* found = nullptr;
    jsErrCode code = {};
    const natsStatus status = js_GetLastMsg(&found, jetStream_.get(), engine_.stream.c_str(),
                                            subject.c_str(), &options, &code);
    if (status == NATS_NOT_FOUND) return {};
    Check(status, "the last row of " + desk + " (" + std::to_string(code) + ")");
    const NatsMessage last(found);
    const std::string behind = HeaderIn(found, kBehindHeader);
    std::optional<Position> position =
        PositionIn(behind.empty() ? HeaderIn(found, kRowHeader) : behind);
    if (!position) throw NatsFault("the last row of " + desk + " is not a relay's");
    return position;
}

void Stream::Publish(Row row) {
    while (underWay_.size() >= kMostUnderWay) {
        TakeAcks(100);
    }
    natsMsg* made = nullptr;
    Check(natsMsg_Create(&made, row.subject.c_str(), inbox_.c_str(), row.json.data(),
                         static_cast<int>(row.json.size())),
          row.subject);
    const NatsMessage message(made);
    SetHeader(made, "Nats-Msg-Id", row.id);
    SetHeader(made, "Nats-Expected-Last-Sequence", std::to_string(lastSequence_));
    SetHeader(made, kRowHeader, row.header);
    if (!row.behind.empty()) SetHeader(made, kBehindHeader, row.behind);
    Check(natsConnection_PublishMsg(connection_.get(), made), "the engine");
    row.json = {};
    underWay_.push_back({++lastSequence_, SteadyTimeUs(), std::move(row)});
}

void Stream::TakeAcks(int timeoutMs) {
    for (natsMsg* next = nullptr;; timeoutMs = 0) {
        const natsStatus status = natsSubscription_NextMsg(&next, acks_.get(), timeoutMs);
        if (status == NATS_TIMEOUT) break;
        Check(status, "the engine");
        const NatsMessage ack(next);
        if (natsMsg_IsNoResponders(next)) throw NatsFault("nobody keeps the stream");
        TakeAck({natsMsg_GetData(next), static_cast<std::size_t>(natsMsg_GetDataLength(next))});
    }
    CheckPatience();
}

// They come in the order of the rows, since one connection's rows are stored one after the other.
void Stream::TakeAck(const std::string& ack) {
    const std::optional<client::Message> message = client::Message::Parse(ack);
    std::uint64_t sequence = 0;
    if (message && !message->Has("error") && !message->Has("duplicate")) {
        const std::string text = message->Text("seq");
        std::from_chars(text.data(), text.data() + text.size(), sequence);
    }
    if (underWay_.empty() || sequence != underWay_.front().sequence)
        throw NatsFault("a row was not taken: " + ack);
    stored_(underWay_.front().row);
    underWay_.pop_front();
}

void Stream::CheckPatience() const {
    if (natsConnection_IsClosed(connection_.get())) throw NatsFault("the connection is lost");
    if (!underWay_.empty() && SteadyTimeUs() - underWay_.front().atUs > kAckPatienceUs)
        throw NatsFault("no acknowledgement for 10 s");
}

} // namespace halvane::relay
