#include "relay/Nats.h"

#include "foundation/support/Hex.h"
#include "foundation/support/Random.h"

namespace halvane::relay {
namespace {

constexpr std::int64_t kConnectMs = 5'000;
constexpr std::int64_t kWriteMs = 10'000;
constexpr std::int64_t kPingMs = 5'000;
constexpr int kPingsOut = 2;

void SetFiles(natsOptions* options, const Engine& engine) {
    if (!engine.credentials.empty())
        Check(natsOptions_SetUserCredentialsFromFiles(options, engine.credentials.c_str(), nullptr),
              engine.credentials);
    if (!engine.authority.empty()) {
        Check(natsOptions_SetSecure(options, true), "TLS");
        Check(natsOptions_LoadCATrustedCertificates(options, engine.authority.c_str()),
              engine.authority);
    }
    if (!engine.certificate.empty())
        Check(natsOptions_LoadCertificatesChain(options, engine.certificate.c_str(),
                                                engine.key.c_str()),
              engine.certificate);
}

} // namespace

void Check(natsStatus status, std::string_view what) {
    if (status != NATS_OK) throw NatsFault(std::string(what) + ": " + natsStatus_GetText(status));
}

NatsConnection Connect(const Engine& engine, const char* name) {
    natsOptions* made = nullptr;
    Check(natsOptions_Create(&made), "no memory");
    const NatsOptions options(made);
    Check(natsOptions_SetURL(made, engine.url.c_str()), engine.url);
    if (!engine.user.empty())
        Check(natsOptions_SetUserInfo(made, engine.user.c_str(), engine.password.c_str()), "user");
    SetFiles(made, engine);
    if (!engine.inbox.empty())
        Check(natsOptions_SetCustomInboxPrefix(made, engine.inbox.c_str()), engine.inbox);
    natsOptions_SetName(made, name);
    natsOptions_SetAllowReconnect(made, false);
    natsOptions_SetTimeout(made, kConnectMs);
    natsOptions_SetWriteDeadline(made, kWriteMs);
    natsOptions_SetPingInterval(made, kPingMs);
    natsOptions_SetMaxPingsOut(made, kPingsOut);
    natsConnection* connection = nullptr;
    Check(natsConnection_Connect(&connection, made), engine.url);
    return NatsConnection(connection);
}

std::string DrawInbox(const Engine& engine) {
    return (engine.inbox.empty() ? "_INBOX" : engine.inbox) + "." + HexDigits(RandomBytes(12));
}

std::string HeaderIn(natsMsg* message, const char* name) {
    const char* value = nullptr;
    return natsMsgHeader_Get(message, name, &value) == NATS_OK && value ? value : "";
}

} // namespace halvane::relay
