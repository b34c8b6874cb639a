#include "access/PublishDoors.h"

#include "foundation/logger/Log.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Utf.h"

namespace halvane {
namespace {

// A burst that the gateway publishes finds room here; a subscriber that does not read loses what
// goes beyond, as on the plain port.
constexpr int kQueuedPublications = 20000;
constexpr std::int64_t kLargestSubscription = 4096; // the largest frame that a client may send

} // namespace

PublishDoors::PublishDoors(void* context, const ClientTable& clients, ShownByClient& shown,
                           CurveKeys server, Text ip)
    : context_(context), clients_(clients), shown_(shown), server_(std::move(server)),
      ip_(std::move(ip)), source_(zmq_socket(context, ZMQ_SUB)) {
    SetZmqOption(source_.get(), ZMQ_LINGER, 0);
    SetZmqOption(source_.get(), ZMQ_RCVHWM, 0); // what waits here was taken off the gateway's queue
    zmq_setsockopt(source_.get(), ZMQ_SUBSCRIBE, "", 0);
}

void PublishDoors::ConnectTo(const std::string& plainPort) {
    zmq_connect(source_.get(), plainPort.c_str());
}

void PublishDoors::Refresh() {
    std::erase_if(doors_, [&](const auto& entry) {
        const AccessClient* client = clients_.FindLive(entry.first);
        return client == nullptr || client->publishPort != entry.second.port;
    });
    for (const auto& [key, client] : clients_.All()) {
        if (!clients_.IsLive(client)) continue;
        Door& door = doors_[key];
        if (door.socket == nullptr) Open(client, door);
    }
}

void PublishDoors::Open(const AccessClient& client, Door& door) {
    ZmqSocket socket =
        MakeDoor(context_, ZMQ_PUB, server_, DomainOf(client.key), kLargestSubscription);
    SetZmqOption(socket.get(), ZMQ_SNDHWM, kQueuedPublications);
    door.port = client.publishPort;
    if (!BindTcp(socket.get(), ip_, door.port)) {
        if (!door.told)
            Log().Error(L"[Access]publish port %d of %s cannot be bound on %s", door.port,
                        client.name, ip_);
        door.told = true;
        return;
    }
    door.socket = std::move(socket);
    door.watch.emplace(context_, door.socket.get(), [](int refused) {
        Log().Warn(L"[Access]no descriptors left: %d connections refused", refused);
    });
}

Text PublishDoors::PortOf(const AccessClient& client) const {
    const auto found = doors_.find(client.key);
    const bool open = found != doors_.end() && found->second.socket != nullptr;
    return open ? DecimalText(found->second.port) : Text();
}

bool PublishDoors::MovePublication() {
    ZmqMessage publication;
    if (!publication.Receive(source_.get(), ZMQ_DONTWAIT)) return false;
    for (auto& [key, door] : doors_) {
        const AccessClient* client = clients_.FindLive(key);
        if (door.socket == nullptr || client == nullptr) continue;
        if (client->allAccounts) {
            publication.Share().Send(door.socket.get(), ZMQ_DONTWAIT);
        } else if (const auto version = VersionFor(*client, publication)) {
            ZmqMessage(*version).Send(door.socket.get(), ZMQ_DONTWAIT);
        }
    }
    return true;
}

// Read anew for each such client, who are few: making a version changes the document.
std::optional<std::string> PublishDoors::VersionFor(const AccessClient& client,
                                                    ZmqMessage& publication) {
    const std::string_view bytes = publication.Bytes();
    JsonDocument document;
    if (!ParseJson(bytes.substr(0, bytes.find('\0')), document) ||
        !KeepOwnPublication(client, document, shown_[client.key]))
        return std::nullopt;
    return ToUtf8(WriteJson(document)) + '\0';
}

} // namespace halvane
