#include "access/RequestDoor.h"

#include "access/Curve.h"
#include "access/ReplyJob.h"
#include "foundation/logger/Log.h"
#include "foundation/support/JsonWriter.h"
#include "foundation/support/Utf.h"

#include <algorithm>

namespace halvane {
namespace {

constexpr TextView kEnded = L"this client is not let in any more";
constexpr TextView kBusy = L"the gateway is busy";
constexpr TextView kInternal = L"internal error";
constexpr TextView kNoRequest = L"Req";
constexpr std::string_view kLogInReply = R"({"Reply":"LOGIN","Success":"OK",)";
constexpr int kPage = 50;
constexpr std::size_t kOwnFrames = 2; // before the client's: its key, the reply's job

// As on the plain port.
constexpr std::int64_t kLargestRequest = 16 << 20;
constexpr int kQueuedRequests = 64; // of each connection

// Few, so that clients wait in the queues of their own, which are served in turns.
constexpr int kQueuedAtBack = 32;

// As a worker reads it: up to the first zero byte.
bool ReadRequest(std::string_view body, JsonDocument& request) {
    if (!ParseJson(body.substr(0, body.find('\0')), request)) return false;
    const JsonValue* name = FindMember(request, L"Request");
    return name != nullptr && name->IsString();
}

std::string Failure(TextView name, TextView reason, TextView sessionKey) {
    JsonWriter reply;
    reply.Member(L"Reply", name);
    reply.Member(L"Success", L"Fail");
    reply.Member(L"SessionKey", sessionKey);
    reply.Member(L"ErrMsg", reason);
    return reply.Finish();
}

JsonValue* ArrayOf(JsonDocument& reply, const wchar_t* name) {
    if (!reply.IsObject() || StringMember(reply, L"Success") != L"OK") return nullptr;
    return reply.HasMember(name) && reply[name].IsArray() ? &reply[name] : nullptr;
}

void SetText(JsonDocument& document, const wchar_t* name, const Text& text) {
    JsonValue value(text.data(), static_cast<rapidjson::SizeType>(text.size()),
                    document.GetAllocator());
    while (document.RemoveMember(name)) {
    }
    document.AddMember(JsonValue::StringRefType(name), value, document.GetAllocator());
}

} // namespace

RequestDoor::RequestDoor(void* context, const CurveKeys& server, const ClientTable& clients,
                         ShownByClient& shown, UnreadReplies& unread, PublishPortOf publishPortOf)
    : clients_(clients), shown_(shown), unread_(unread), publishPortOf_(std::move(publishPortOf)),
      front_(MakeDoor(context, ZMQ_ROUTER, server, kDomain, kLargestRequest)),
      back_(zmq_socket(context, ZMQ_DEALER)) {
    SetZmqOption(front_.get(), ZMQ_SNDHWM, 0); // UnreadReplies has a bound in bytes
    SetZmqOption(front_.get(), ZMQ_RCVHWM, kQueuedRequests);
    SetZmqOption(back_.get(), ZMQ_LINGER, 0);
    SetZmqOption(back_.get(), ZMQ_SNDHWM, kQueuedAtBack);
    SetZmqOption(back_.get(), ZMQ_RCVHWM, 0);
}

bool RequestDoor::Bind(const AccessConfig& config) {
    return BindTcp(front_.get(), config.ip, config.requestPort);
}

void RequestDoor::ConnectTo(const std::string& plainPort) {
    zmq_connect(back_.get(), plainPort.c_str());
}

// What has no envelope cannot be answered, here as on the plain port.
bool RequestDoor::MoveRequest() {
    if (!ReceiveParts(front_.get(), parts_, ZMQ_DONTWAIT)) return false;
    const auto isEmpty = [](ZmqMessage& part) { return part.Bytes().empty(); };
    const auto delimiter = std::find_if(parts_.begin() + 1, parts_.end(), isEmpty);
    if (parts_.end() - delimiter < 2) return true;
    const std::string key(parts_.back().Property("User-Id"));
    const bool oneFrame = parts_.end() - delimiter == 2;
    JsonDocument request;
    if (const AccessClient* client = clients_.FindLive(key)) {
        if (!client->IsRestricted())
            Forward(key, {});
        else if (oneFrame)
            Judge(*client);
        else
            Refuse(request, {});
    } else {
        const bool read = oneFrame && ReadRequest(Body(), request);
        Refuse(request, read ? kEnded : TextView());
    }
    return true;
}

void RequestDoor::Judge(const AccessClient& client) {
    JsonDocument request;
    if (!ReadRequest(Body(), request)) return Refuse(JsonDocument(), {});
    const TextView refusal = RefusalOf(client, request, shown_[client.key]);
    if (!refusal.empty()) {
        Log().Info(L"[Access]%s is refused %s: %s", client.name, StringMember(request, L"Request"),
                   refusal);
        return Refuse(request, refusal);
    }
    ReplyJob job;
    const OperationRight& right = RightOf(StringMember(request, L"Request"));
    if (!client.allAccounts && right.rows != nullptr) job.right = &right;
    if (right.concerns == Concerns::Pages) job.request = Body();
    Forward(client.key, job);
}

void RequestDoor::Forward(const std::string& key, const ReplyJob& job) {
    ZmqMessage who(key), what(job.ToFrame()); // both, or no message begins
    who.Send(back_.get(), ZMQ_SNDMORE);
    what.Send(back_.get(), ZMQ_SNDMORE);
    SendParts(back_.get(), parts_);
}

void RequestDoor::Refuse(const JsonValue& request, TextView reason) {
    const TextView name = RightOf(StringMember(request, L"Request")).name;
    Answer(Failure(name.empty() ? kNoRequest : name, reason, StringMember(request, L"SessionKey")));
}

// To the client whose message is at hand. A body that takes the place of its own gets a zero byte.
void RequestDoor::Answer(std::string_view body) {
    ZmqMessage own(std::string(body) + '\0');
    const auto isEmpty = [](ZmqMessage& part) { return part.Bytes().empty(); };
    const auto delimiter = std::find_if(parts_.begin() + 1, parts_.end(), isEmpty);
    parts_.erase(delimiter + 1, parts_.end());
    parts_.push_back(std::move(own));
    if (unread_.Admit(parts_.front().Bytes(), parts_.back())) SendParts(front_.get(), parts_);
}

// The reply to a client that has meanwhile been put out is nobody's.
bool RequestDoor::MoveReply() {
    if (!ReceiveParts(back_.get(), parts_, ZMQ_DONTWAIT)) return false;
    if (parts_.size() < kOwnFrames + 3) return true;
    const AccessClient* client = clients_.FindLive(parts_[0].Bytes());
    const ReplyJob job = ReplyJob::FromFrame(parts_[1].Bytes());
    parts_.erase(parts_.begin(), parts_.begin() + kOwnFrames);
    if (client != nullptr) Return(*client, job);
    return true;
}

void RequestDoor::Return(const AccessClient& client, const ReplyJob& job) {
    if (job.right == nullptr) {
        if (Body().starts_with(kLogInReply)) return ReturnLogIn(client);
        if (unread_.Admit(parts_.front().Bytes(), parts_.back())) SendParts(front_.get(), parts_);
        return;
    }
    JsonDocument reply;
    const bool read = ParseJson(Body().substr(0, Body().find('\0')), reply);
    if (read && StringMember(reply, L"Success") == L"Fail") {
        if (unread_.Admit(parts_.front().Bytes(), parts_.back())) SendParts(front_.get(), parts_);
    } else if (!read || ArrayOf(reply, job.right->rows) == nullptr) {
        Answer(Failure(job.right->name, kInternal, {}));
    } else if (job.right->concerns == Concerns::Pages) {
        ReturnPage(client, job, reply);
    } else {
        ReturnRows(client, *job.right, reply);
    }
}

void RequestDoor::ReturnLogIn(const AccessClient& client) {
    JsonDocument reply;
    if (!ParseJson(Body().substr(0, Body().find('\0')), reply)) return;
    const bool published = !StringMember(reply, L"SubPort").empty();
    SetText(reply, L"SubPort", published ? publishPortOf_(client) : Text());
    Answer(ToUtf8(WriteJson(reply)));
}

void RequestDoor::ReturnRows(const AccessClient& client, const OperationRight& right,
                             JsonDocument& reply) {
    KeepOwnRows(client, *ArrayOf(reply, right.rows));
    Answer(ToUtf8(WriteJson(reply)));
}

// A page with fewer rows than others tells a client that it is the last one, so what was taken out
// is made up for from the following pages.
void RequestDoor::ReturnPage(const AccessClient& client, ReplyJob job, JsonDocument& reply) {
    JsonValue& rows = *ArrayOf(reply, job.right->rows);
    const bool last = rows.Size() < kPage;
    const Text next = last ? Text() : Text(StringMember(rows[rows.Size() - 1], L"QryIndex"));
    KeepOwnRows(client, rows);
    const auto room = static_cast<rapidjson::SizeType>(kPage - job.count);
    if (rows.Size() > room) rows.Erase(rows.Begin() + room, rows.End());
    if (TextView(job.right->name) == L"RESTOREREPORT") {
        for (const JsonValue& row : rows.GetArray())
            shown_[client.key].emplace(StringMember(row, L"ReportID"));
    }
    if (!rows.Empty()) job.rows += (job.rows.empty() ? "" : ",") + WriteRows(rows);
    job.count += static_cast<int>(rows.Size());
    JsonDocument request;
    if (last || job.count == kPage || !ReadRequest(job.request, request))
        return Answer(R"({"Reply":")" + ToUtf8(job.right->name) + R"(","Success":"OK",")" +
                      ToUtf8(job.right->rows) + "\":[" + job.rows + "]}");
    SetText(request, L"QryIndex", next);
    if (!IsReady(back_.get(), ZMQ_POLLOUT)) return Answer(Failure(job.right->name, kBusy, {}));
    parts_.back() = ZmqMessage(ToUtf8(WriteJson(request)));
    Forward(client.key, job);
}

} // namespace halvane
