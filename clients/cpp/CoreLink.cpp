#include "clients/cpp/Core.h"

#include "foundation/support/Clock.h"

#include <algorithm>

// How a connection comes and goes.
namespace halvane::client {
namespace {

constexpr Duration kRetryAfter{200};
constexpr int kMostRetrySteps = 5; // times kRetryAfter
constexpr Duration kPongEvery{15'000};
constexpr int kUnansweredPongs = 2; // that end a link
constexpr std::int64_t kStaleAfterUs =
    45'000'000; // without a publication; a heartbeat comes every 20 s
constexpr Duration kLookEvery{1'000};
constexpr Duration kFarewell{1'000};
constexpr const char* kHeartbeat = R"({"DataType":"PING")";
constexpr int kAtOnce = 1'000; // messages taken before others have their turn

} // namespace

std::string Client::Core::AddressOf(int port) const {
    const bool bare = host_.find(':') != std::string::npos && host_[0] != '[';
    return "tcp://" + (bare ? "[" + host_ + "]" : host_) + ":" + std::to_string(port);
}

std::string Client::Core::LogInMembers() const {
    return Param({{"SystemName", options_.systemName}, {"ServiceKey", options_.serviceKey}})
        .Inside();
}

void Client::Core::Begin() {
    if (stopping_) return;
    NoteStep(State::Step::None);
    link_ = std::make_unique<Link>(context_.get(), AddressOf(port_), keys_);
    After(kStepPatience, link_.get(), [this] {
        if (!IsUp()) Lose("the gateway does not take connections at " + AddressOf(port_));
    });
}

void Client::Core::Look() {
    if (!link_) return;
    LookAt(link_->light.GetConnection());
    LookAt(link_->heavy.GetConnection());
    if (link_->feed) LookAt(*link_->feed);
}

void Client::Core::LookAt(Connection& connection) {
    switch (connection.LookForChange()) {
    case Connection::Change::None: break;
    case Connection::Change::Connected: Advance(); break;
    case Connection::Change::Gone:
        Lose((IsUp() ? "the connection is lost to " : "nobody serves at ") + connection.Address());
        break;
    }
}

void Client::Core::Advance() {
    const bool asks =
        link_->light.GetConnection().IsConnected() && link_->heavy.GetConnection().IsConnected();
    if (link_->stage == Link::Stage::Connecting && asks) {
        link_->stage = Link::Stage::LoggingIn;
        NoteStep(State::Step::Answered);
        LogIn();
    } else if (link_->stage == Link::Stage::Subscribing && link_->feed->IsConnected()) {
        BeUp();
    }
}

void Client::Core::LogIn() {
    Transmit(Internal("LOGIN", LogInMembers(), kStepPatience,
                      [this](const Answer& answer) { TakeLogIn(answer); }));
}

void Client::Core::TakeLogIn(const Answer& answer) {
    if (answer.outcome == Answer::Outcome::Gone) return; // and so is the link
    if (!answer) {
        const bool refused = answer.outcome == Answer::Outcome::Refused;
        return Lose(refused ? "the gateway refuses the system name with this key"
                            : "the gateway does not answer",
                    refused);
    }
    link_->sessionKey = answer.message.Text("SessionKey");
    NoteStep(State::Step::LoggedIn);
    link_->publishPort = std::atoi(answer.message.Text("SubPort").c_str());
    if (link_->publishPort > 0) return Subscribe();
    SetState(State::Kind::Connecting, "the gateway does not publish yet");
    Transmit(Internal("LOGOUT", {}, kStepPatience, nullptr));
    timers_.CancelAllOf(link_.get()); // it is there, and may take its time
    After(kRetryAfter, link_.get(), [this] { LogIn(); });
}

void Client::Core::Subscribe() {
    link_->stage = Link::Stage::Subscribing;
    const std::string address = AddressOf(link_->publishPort);
    link_->feed = std::make_unique<Connection>(context_.get(), ZMQ_SUB, address, keys_,
                                               options_.publications ? "" : kHeartbeat);
    timers_.CancelAllOf(link_.get());
    After(kStepPatience, link_.get(), [this, address] {
        if (!IsUp()) Lose("the gateway does not take subscriptions at " + address);
    });
}

std::unique_ptr<Connection> Client::Core::OpenSubscription(int port) {
    return std::make_unique<Connection>(context_.get(), ZMQ_SUB, AddressOf(port), keys_);
}

void Client::Core::BeUp() {
    link_->stage = Link::Stage::Up;
    link_->heardUs = SteadyTimeUs();
    failures_ = 0;
    wasConnected_ = true;
    NoteStep(State::Step::Subscribed);
    SetState(State::Kind::Connected, {});
    timers_.CancelAllOf(link_.get());
    After(kPongEvery, link_.get(), [this] { KeepAlive(); });
    After(kLookEvery, link_.get(), [this] { Watch(); });
    for (auto& request : std::exchange(waiting_, {}))
        Transmit(std::move(request));
    for (Follower* follower : followers_)
        follower->OnConnected();
}

// On a timer of its own: a heartbeat that is missed is no reason to lose the session.
void Client::Core::KeepAlive() {
    After(kPongEvery, link_.get(), [this] { KeepAlive(); });
    Transmit(Internal("PONG", {}, kStepPatience, [this](const Answer& answer) {
        if (answer.outcome == Answer::Outcome::Gone) return;
        const bool silent = answer.outcome == Answer::Outcome::TimedOut;
        link_->unansweredPongs = silent ? link_->unansweredPongs + 1 : 0;
        if (link_->unansweredPongs >= kUnansweredPongs) Lose("the gateway does not answer");
    }));
}

void Client::Core::Watch() {
    if (SteadyTimeUs() - link_->heardUs >= kStaleAfterUs) {
        return Lose("nothing has been published for 45 s");
    }
    After(kLookEvery, link_.get(), [this] { Watch(); });
}

void Client::Core::Lose(std::string reason, bool refused) {
    if (!link_ || loss_) return;
    loss_ = std::move(reason);
    lossIsRefusal_ = refused;
}

// What was under way ends or waits for the next connection.
void Client::Core::TearDown() {
    const std::string reason = std::move(*loss_);
    const bool wasUp = IsUp();
    std::vector<Lane::Found> left;
    if (link_) {
        timers_.CancelAllOf(link_.get());
        left = link_->light.TakeAll();
        for (auto& each : link_->heavy.TakeAll())
            left.push_back(std::move(each));
        for (auto& each : link_->awaitRenewal)
            left.push_back({std::move(each), false});
        link_.reset();
    }
    loss_.reset();
    SetState(lossIsRefusal_  ? State::Kind::Refused
             : wasConnected_ ? State::Kind::Lost
                             : State::Kind::Connecting,
             reason);
    for (auto& each : left)
        GiveBack(std::move(each), reason);
    if (wasUp) {
        for (Follower* follower : followers_)
            follower->OnLost();
    }
    if (stopping_) {
        for (auto& each : std::exchange(waiting_, {}))
            GiveBack({std::move(each), false}, reason);
        stop_ = true;
        return;
    }
    failures_ = std::min(failures_ + 1, kMostRetrySteps);
    After(kRetryAfter * failures_, this, [this] { Begin(); });
}

void Client::Core::LogOut() {
    stopping_ = true;
    timers_.CancelAllOf(this);
    if (!IsUp() || loss_) {
        stop_ = true;
        return;
    }
    Transmit(Internal("LOGOUT", {}, kFarewell, [this](const Answer&) { stop_ = true; }));
}

void Client::Core::ReadAll() {
    if (!link_) return;
    ReadReplies(link_->light);
    ReadReplies(link_->heavy);
    if (link_->feed) ReadPublications();
    for (Follower* follower : followers_) {
        if (follower->OwnConnection()) follower->OnReadable();
    }
}

void Client::Core::ReadReplies(Lane& lane) {
    std::unique_ptr<Request> request;
    std::string reply;
    for (int i = 0; i < kAtOnce && lane.Receive(request, reply); i++) {
        if (request) TakeReply(std::move(request), std::move(reply));
    }
}

void Client::Core::ReadPublications() {
    Frames frames;
    std::size_t dropped = 0;
    for (int i = 0; i < kAtOnce && link_->feed->Receive(frames); i++) {
        std::optional<Message> publication = Message::Parse(std::move(frames[0]));
        if (!publication) continue; // one that nobody can read must not hold up the others
        link_->heard = true;
        for (Follower* follower : followers_)
            follower->OnPublication(*publication);
        if (handlers_.publication &&
            !teller_.TellIfRoom(
                this, [this, told = std::move(*publication)] { handlers_.publication(told); })) {
            dropped++;
        }
        link_->heardUs = 0;
    }
    if (link_->heardUs == 0) NoteHeard();
    if (dropped > 0 && handlers_.dropped) {
        teller_.Tell(this, [this, dropped] { handlers_.dropped(dropped); });
    }
}

void Client::Core::NoteHeard() {
    link_->heardUs = SteadyTimeUs();
    const MutexLock guard(lock_);
    state_.heard = Now();
}

void Client::Core::NoteStep(State::Step step) {
    const MutexLock guard(lock_);
    state_.reached = step;
}

void Client::Core::SetState(State::Kind kind, std::string reason) {
    MutexLock guard(lock_);
    if (state_.kind == kind && state_.reason == reason) return;
    const bool was = state_.IsConnected();
    state_.kind = kind;
    state_.reason = std::move(reason);
    state_.publishPort = state_.IsConnected() ? link_->publishPort : 0;
    if (was != state_.IsConnected()) {
        state_.since = Now();
        state_.heard.reset();
    }
    const State told = state_;
    guard.unlock();
    changed_.notify_all();
    if (handlers_.state) teller_.Tell(this, [this, told] { handlers_.state(told); });
}

} // namespace halvane::client
