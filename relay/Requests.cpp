#include "relay/Requests.h"

#include "foundation/support/Clock.h"
#include "foundation/support/Seldom.h"
#include "relay/Log.h"
#include "relay/UserSession.h"

namespace halvane::relay {
namespace {

constexpr std::uint32_t kLookMs = 100;
constexpr std::uint32_t kRetryMs = 1'000;
constexpr std::size_t kMostSessions = 200;
constexpr const char* kGroup = "halvane-relay"; // of several relays one alone gets each request

} // namespace

struct Requests::Place {
    Requests& requests;
    std::size_t desk;
    std::string subject;
    NatsSubscription subscription = {};
};

Requests::Requests(const Engine& engine, std::vector<DeskOptions> desks, client::Duration patience)
    : engine_(engine), desks_(std::move(desks)), patience_(patience), asked_(desks_.size()),
      failed_(desks_.size()), thread_([this](const std::stop_token& stop) { Run(stop); }) {}

Requests::~Requests() {
    thread_.request_stop();
    thread_.join();
    std::map<std::pair<std::size_t, std::string>, std::unique_ptr<UserSession>> ending;
    {
        const MutexLock guard(lock_);
        ending.swap(sessions_);
    }
}

Requests::Counts Requests::CountsOf(std::size_t desk) const {
    return {asked_[desk], failed_[desk]};
}

bool Requests::IsConnected() const {
    const MutexLock guard(connectionLock_);
    return connection_ != nullptr;
}

void Requests::Publish(const std::string& subject, const std::string& json) {
    const MutexLock guard(connectionLock_);
    if (!connection_) return; // nobody can be told
    natsConnection_Publish(connection_, subject.c_str(), json.data(),
                           static_cast<int>(json.size()));
}

void Requests::Reply(std::size_t desk, const std::string& to, const std::string& json,
                     bool failed) {
    if (failed) failed_[desk]++;
    Publish(to, json);
}

// --- the engine --------------------------------------------------------------------------------

void Requests::Run(const std::stop_token& stop) {
    Seldom seldom;
    do {
        try {
            Serve(stop);
        } catch (const NatsFault& fault) {
            if (seldom.IsDue(fault.what()))
                Say("requests are not taken: " + std::string(fault.what()));
        }
    } while (TheClock().Sleep(kRetryMs, stop));
}

void Requests::Serve(const std::stop_token& stop) {
    const NatsConnection connection = Connect(engine_, "HalvaneRelay requests");
    std::vector<std::unique_ptr<Place>> places;
    for (std::size_t desk = 0; desk < desks_.size(); desk++) {
        const std::string subject = "halvane.request." + desks_[desk].name;
        for (const char* user : {"", ".*"})
            places.push_back(std::make_unique<Place>(Place{*this, desk, subject + user}));
    }
    const struct Closed {
        Requests& requests;
        natsConnection* connection;
        ~Closed() { requests.Close(connection); }
    } closed{*this, connection.get()};
    for (const auto& place : places)
        Subscribe(*place, connection.get());
    largest_ = static_cast<std::size_t>(natsConnection_GetMaxPayload(connection.get()));
    {
        const MutexLock guard(connectionLock_);
        connection_ = connection.get();
    }
    do {
        LookAtSessions();
    } while (!natsConnection_IsClosed(connection.get()) && TheClock().Sleep(kLookMs, stop));
    if (!stop.stop_requested()) throw NatsFault("the connection is lost");
}

// Once nobody calls us any more.
void Requests::Close(natsConnection* connection) {
    {
        const MutexLock guard(connectionLock_);
        connection_ = nullptr;
    }
    natsConnection_Close(connection);
    while (deliverers_ > 0)
        TheClock().Sleep(1);
}

void Requests::Subscribe(Place& place, natsConnection* connection) {
    natsSubscription* made = nullptr;
    const auto deliver = [](natsConnection*, natsSubscription*, natsMsg* message, void* closure) {
        const NatsMessage owner(message);
        const auto* to = static_cast<const Place*>(closure);
        to->requests.Take(*to, message);
    };
    Check(natsConnection_QueueSubscribe(&made, connection, place.subject.c_str(), kGroup, deliver,
                                        &place),
          place.subject);
    place.subscription.reset(made);
    deliverers_++;
    const auto completed = [](void* closure) {
        static_cast<const Place*>(closure)->requests.deliverers_--;
    };
    if (natsSubscription_SetOnCompleteCB(made, completed, &place) != NATS_OK) deliverers_--;
}

// --- requests ----------------------------------------------------------------------------------

void Requests::Take(const Place& place, natsMsg* message) {
    const std::string subject = natsMsg_GetSubject(message);
    const std::string mine = "halvane.request." + desks_[place.desk].name;
    const char* replyTo = natsMsg_GetReply(message);
    // Nobody waits, or the engine delivers a row here because somebody wanted it so.
    if (replyTo == nullptr || replyTo[0] == '$' || !subject.starts_with(mine)) return;
    const std::string user = subject.size() > mine.size() ? subject.substr(mine.size() + 1) : "";
    asked_[place.desk]++;
    const auto request = client::Message::Parse(
        {natsMsg_GetData(message), static_cast<std::size_t>(natsMsg_GetDataLength(message))});
    Asked asked{.name = request ? request->Text("Request") : "",
                .members = {},
                .replyTo = replyTo,
                .atUs = SteadyTimeUs()};
    const auto refuse = [&](const std::string& name, const char* why) {
        Reply(place.desk, replyTo, UserSession::Failure(name, why), true);
    };
    if (asked.name.empty()) return refuse("Req", "relay: no JSON object with a Request");
    if (asked.name == "LOGIN" || asked.name == "LOGOUT")
        return refuse(asked.name, "relay: the session is the relay's");
    asked.members.All(*request, {"Request", "SessionKey"});
    UserSession* session = SessionOf(place.desk, user);
    if (!session) return refuse(asked.name, "relay: queue full; too many users");
    session->Ask(std::move(asked));
}

UserSession* Requests::SessionOf(std::size_t desk, const std::string& user) {
    const MutexLock guard(lock_);
    std::unique_ptr<UserSession>& session = sessions_[{desk, user}];
    if (!session && sessions_.size() > kMostSessions) {
        sessions_.erase({desk, user});
        return nullptr;
    }
    if (!session)
        session = std::make_unique<UserSession>(desks_[desk].gateway, desk, patience_, *this);
    return session.get();
}

void Requests::LookAtSessions() {
    const MutexLock guard(lock_);
    for (const auto& [whose, session] : sessions_)
        session->GiveUpLate();
}

} // namespace halvane::relay
