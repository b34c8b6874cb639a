#pragma once

#include <nats/nats.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

// The library's handles with an owner, and its connection with our settings.
namespace halvane::relay {

template <auto Destroy> struct Destroyed {
    template <class Handle> void operator()(Handle* handle) const { Destroy(handle); }
};
using NatsOptions = std::unique_ptr<natsOptions, Destroyed<natsOptions_Destroy>>;
using NatsConnection = std::unique_ptr<natsConnection, Destroyed<natsConnection_Destroy>>;
using NatsSubscription = std::unique_ptr<natsSubscription, Destroyed<natsSubscription_Destroy>>;
using NatsMessage = std::unique_ptr<natsMsg, Destroyed<natsMsg_Destroy>>;
using JetStream = std::unique_ptr<jsCtx, Destroyed<jsCtx_Destroy>>;
using StreamInfo = std::unique_ptr<jsStreamInfo, Destroyed<jsStreamInfo_Destroy>>;

// What the engine refuses, or that it is gone; for a person.
class NatsFault : public std::runtime_error {
    using runtime_error::runtime_error;
};

void Check(natsStatus status, std::string_view what);

struct Engine {
    std::string url;
    std::string user, password;
    std::string credentials;                 // a file, instead of user and password
    std::string authority, certificate, key; // files for TLS; "" for none
    std::string inbox;                       // where replies go, "" for _INBOX
    std::string stream;
    std::int64_t maxMegabytes = 0; // of the stream, when the relay makes it; 0 for no limit
    std::int64_t keepDays = 0;
    std::int64_t dedupeSeconds = 120;
};

// Connects once. A mended connection would hide what was lost with the one before, so it is never
// mended: it closes, and whoever uses it begins anew. Throws NatsFault.
NatsConnection Connect(const Engine& engine, const char* name);

// What the engine would call an inbox of this user's, never the same twice.
std::string DrawInbox(const Engine& engine);

// A header of a message; "" when it has none of that name.
std::string HeaderIn(natsMsg* message, const char* name);

} // namespace halvane::relay
