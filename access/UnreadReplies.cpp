#include "access/UnreadReplies.h"

#include "foundation/logger/Log.h"
#include "foundation/support/Hex.h"
#include "foundation/support/Utf.h"

#include <algorithm>

namespace halvane {
namespace {

constexpr std::int64_t kOverhead = 256; // bytes that the library and we keep for each

} // namespace

bool UnreadReplies::Admit(std::string_view identity, ZmqMessage& body) {
    Client& client = ClientOf(identity);
    const auto bytes = static_cast<std::int64_t>(body.Bytes().size()) + kOverhead;
    if (client.bytes == 0) client.told = false;
    if (HasRoom(client, bytes)) {
        body.OnRelease([&client, bytes] {
            client.all -= bytes;
            client.bytes -= bytes; // last: a client with nothing unread may be forgotten
        });
        client.all += bytes;
        client.bytes += bytes;
        return true;
    }
    ++lost_;
    if (!client.told)
        Log().Warn(L"%sclient %s does not read: its replies are lost", door_,
                   *FromUtf8(HexDigits(identity)));
    client.told = true;
    return false;
}

// One reply of any size fits for a client that reads, or a long list could never be answered.
bool UnreadReplies::HasRoom(const Client& client, std::int64_t bytes) const {
    const std::int64_t unread = client.bytes + bytes;
    const std::int64_t left = limits_.allClients - bytes_;
    if (unread <= limits_.alwaysTaken || (unread == bytes && left > 0)) return true;
    return unread <= std::min(limits_.eachClient, left / limits_.shares);
}

UnreadReplies::Client& UnreadReplies::ClientOf(std::string_view identity) {
    const auto known = clients_.find(identity);
    if (known != clients_.end()) return known->second;
    if (clients_.size() >= forgetAt_) {
        std::erase_if(clients_, [](const auto& entry) { return entry.second.bytes == 0; });
        forgetAt_ = std::max<std::size_t>(1024, 2 * clients_.size());
    }
    return clients_.try_emplace(std::string(identity), bytes_).first->second;
}

} // namespace halvane
