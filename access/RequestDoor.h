#pragma once

#include "access/ClientTable.h"
#include "access/Rights.h"
#include "access/UnreadReplies.h"
#include "foundation/support/Zmq.h"

#include <functional>
#include <optional>

namespace halvane {

struct CurveKeys;
struct ReplyJob;

// What clients have been shown, by their keys.
using ShownByClient = std::map<std::string, ShownReports, std::less<>>;

// The encrypted way in for requests: what a client may ask for goes on to the plain request port,
// what it may not is answered here, and of replies it gets what it may see. Whose a request is and
// what is to be done with its reply travels with it in its envelope, which comes back; so nothing
// is kept here for a request that is under way.
class RequestDoor {
  public:
    static constexpr const char* kDomain = "requests";

    // Where a client subscribes; "" as long as it cannot.
    using PublishPortOf = std::function<Text(const AccessClient& client)>;

    // `unread` must outlive the context.
    RequestDoor(void* context, const CurveKeys& server, const ClientTable& clients,
                ShownByClient& shown, UnreadReplies& unread, PublishPortOf publishPortOf);

    // False when the port cannot be bound: to be tried again.
    [[nodiscard]] bool Bind(const AccessConfig& config);
    void ConnectTo(const std::string& plainPort);

    void* Front() { return front_.get(); }
    void* Back() { return back_.get(); }

    // Each moves one message; false when there was none.
    bool MoveRequest();
    bool MoveReply();

  private:
    void Judge(const AccessClient& client);
    void Forward(const std::string& key, const ReplyJob& job);
    void Refuse(const JsonValue& request, TextView reason);
    void Return(const AccessClient& client, const ReplyJob& job);
    void ReturnLogIn(const AccessClient& client);
    void ReturnRows(const AccessClient& client, const OperationRight& right, JsonDocument& reply);
    void ReturnPage(const AccessClient& client, ReplyJob job, JsonDocument& reply);
    void Answer(std::string_view body);

    std::string_view Body() { return parts_.back().Bytes(); }

    const ClientTable& clients_;
    ShownByClient& shown_;
    UnreadReplies& unread_;
    PublishPortOf publishPortOf_;
    ZmqSocket front_;
    ZmqSocket back_;
    // The message at hand: the client's identity, his own envelope, an empty frame, the body.
    std::vector<ZmqMessage> parts_;
};

} // namespace halvane
