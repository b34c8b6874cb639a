#include "clients/cpp/Core.h"

#include "clients/cpp/Door.h"
#include "foundation/support/Clock.h"

#include <algorithm>

namespace halvane::client {
namespace {

constexpr const char* kWakeAddress = "inproc://wake";
constexpr std::int64_t kLongestPollUs = 1'000'000;

std::int64_t Us(Duration time) { return std::chrono::microseconds(time).count(); }

Answer Failure(Answer::Outcome outcome, std::string error, bool mayHaveArrived) {
    Answer answer;
    answer.outcome = outcome;
    answer.error = std::move(error);
    answer.mayHaveArrived = mayHaveArrived;
    return answer;
}

Answer AnswerIn(std::string reply) {
    std::optional<Message> message = Message::Parse(std::move(reply));
    if (!message) return Failure(Answer::Outcome::Refused, "the reply cannot be read", true);
    Answer answer;
    answer.mayHaveArrived = true;
    answer.outcome =
        message->Text("Success") == "OK" ? Answer::Outcome::Ok : Answer::Outcome::Refused;
    if (!answer) {
        answer.code = message->Text("ErrCode");
        answer.error = message->Text("ErrMsg");
        if (answer.error.empty()) answer.error = "refused";
        if (!answer.code.empty()) answer.error = "the platform refuses it with code " + answer.code;
    }
    answer.message = std::move(*message);
    return answer;
}

bool Holds(const std::vector<std::unique_ptr<Request>>& requests, const Request* request) {
    return std::any_of(requests.begin(), requests.end(),
                       [=](const auto& each) { return each.get() == request; });
}

std::unique_ptr<Request> TakeFrom(std::vector<std::unique_ptr<Request>>& requests,
                                  const Request* request) {
    const auto found = std::find_if(requests.begin(), requests.end(),
                                    [=](const auto& each) { return each.get() == request; });
    std::unique_ptr<Request> taken = std::move(*found);
    requests.erase(found);
    return taken;
}

} // namespace

Time Now() { return Time(std::chrono::milliseconds(TheClock().UnixTimeMs())); }

// --- from any thread ---------------------------------------------------------------------------

State Client::Core::GetState() const {
    const MutexLock guard(lock_);
    return state_;
}

bool Client::Core::WaitConnected(Duration timeout) const {
    MutexLock guard(lock_);
    return changed_.wait_for(guard, timeout,
                             [this]() REQUIRES(lock_) { return state_.IsConnected(); });
}

void Client::Core::Post(std::function<void()> work) {
    {
        const MutexLock guard(lock_);
        if (!ended_) {
            posted_.push_back(std::move(work));
            if (posted_.size() == 1) zmq_send(wakeIn_.get(), "", 0, ZMQ_DONTWAIT);
            return;
        }
    }
    work(); // which finds that the client has ended
}

void Client::Core::PostAndWait(std::function<void()> work) {
    bool done = false;
    Post([&, this] {
        work();
        const MutexLock guard(lock_);
        done = true;
        changed_.notify_all();
    });
    MutexLock guard(lock_);
    changed_.wait(guard, [&] { return done; });
}

void Client::Core::Ask(std::unique_ptr<Request> request, Duration timeout) {
    const Handling handling = HandlingOf(request->name);
    request->repeatable = handling.repeatable;
    request->heavy = handling.heavy;
    if (timeout <= Duration{0}) timeout = options_.timeout;
    request->endUs = SteadyTimeUs() + Us(timeout);
    if (!Message::Parse("{" + Members{{"Request", request->name}}.Inside() +
                        (request->members.empty() ? "" : ",") + request->members + "}")) {
        request->then(Failure(Answer::Outcome::Unfit, "the request is not JSON in UTF-8", false));
        return;
    }
    // A function must be one that can be copied.
    Post([this, raw = request.release()] { Submit(std::unique_ptr<Request>(raw)); });
}

void Client::Core::Follow(Follower* follower) {
    PostAndWait([=, this] {
        followers_.push_back(follower);
        if (IsUp()) follower->OnConnected();
    });
}

void Client::Core::Forget(Follower* follower) {
    PostAndWait([=, this] {
        std::erase(followers_, follower);
        timers_.CancelAllOf(follower);
        if (link_) {
            link_->light.Forget(follower);
            link_->heavy.Forget(follower);
        }
        for (auto* requests : {&waiting_, link_ ? &link_->awaitRenewal : &waiting_}) {
            for (auto& each : *requests) {
                if (each->owner == follower) each->then = nullptr;
            }
        }
    });
    teller_.Forget(follower);
}

// --- the client's own thread -------------------------------------------------------------------

Client::Core::Core(Options options, Handlers handlers)
    : options_(std::move(options)), handlers_(std::move(handlers)), host_(options_.host),
      port_(options_.port != 0 ? options_.port : RequestPortOf(options_.systemName)),
      wakeIn_(zmq_socket(context_.get(), ZMQ_PAIR)),
      wakeOut_(zmq_socket(context_.get(), ZMQ_PAIR)) {
    if (options_.systemName.empty()) throw std::invalid_argument("no system name");
    if (!options_.pairedLine.empty()) {
        Door door = ReadDoor(options_.pairedLine);
        host_ = std::move(door.host);
        port_ = door.port;
        keys_ = std::move(door.keys);
    }
    if (port_ <= 0 || port_ > 65535) throw std::invalid_argument("no such port");
    for (void* socket : {wakeIn_.get(), wakeOut_.get()})
        SetZmqOption(socket, ZMQ_LINGER, 0);
    zmq_bind(wakeOut_.get(), kWakeAddress);
    zmq_connect(wakeIn_.get(), kWakeAddress);
    state_.since = Now();
    thread_ = std::thread([this] { Run(); });
}

Client::Core::~Core() {
    Post([this] { LogOut(); });
    thread_.join();
}

void Client::Core::Run() {
    Begin();
    while (!stop_) {
        Poll();
        RunPosted();
        timers_.Run(SteadyTimeUs());
        Look();
        ReadAll();
        if (loss_) TearDown();
    }
    loss_ = "the client has ended";
    TearDown();
    {
        const MutexLock guard(lock_);
        ended_ = true;
    }
    RunPosted();
}

void Client::Core::Poll() {
    std::vector<zmq_pollitem_t> items{{wakeOut_.get(), 0, ZMQ_POLLIN, 0}};
    const auto add = [&items](const Connection& connection) {
        items.push_back({connection.Socket(), 0, ZMQ_POLLIN, 0});
        items.push_back({connection.Monitor(), 0, ZMQ_POLLIN, 0});
    };
    if (link_) {
        add(link_->light.GetConnection());
        add(link_->heavy.GetConnection());
        if (link_->feed) add(*link_->feed);
    }
    for (Follower* follower : followers_) {
        if (const Connection* own = follower->OwnConnection()) add(*own);
    }
    const std::int64_t nowUs = SteadyTimeUs();
    const std::int64_t waitUs = timers_.NextUs(nowUs + kLongestPollUs) - nowUs;
    const std::int64_t waitMs = std::clamp<std::int64_t>(waitUs, 0, kLongestPollUs) / 1000 + 1;
    zmq_poll(items.data(), static_cast<int>(items.size()),
             waitUs <= 0 ? 0 : static_cast<long>(waitMs));
    for (ZmqMessage wake; wake.Receive(wakeOut_.get(), ZMQ_DONTWAIT);) {
    }
}

void Client::Core::RunPosted() {
    std::vector<std::function<void()>> posted;
    {
        const MutexLock guard(lock_);
        posted.swap(posted_);
    }
    for (const auto& work : posted)
        work();
}

Timers::Id Client::Core::After(Duration time, const void* owner, std::function<void()> work) {
    return timers_.At(SteadyTimeUs() + Us(time), owner, std::move(work));
}

// --- requests ----------------------------------------------------------------------------------

void Client::Core::Submit(std::unique_ptr<Request> request) {
    request->timer =
        timers_.At(request->endUs, nullptr, [this, raw = request.get()] { TimeOut(raw); });
    if (stopping_) {
        Finish(std::move(request), Failure(Answer::Outcome::Gone, "the client has ended", false));
    } else if (IsUp() && !loss_) {
        Transmit(std::move(request));
    } else if (request->repeatable && !request->thisLinkOnly) {
        waiting_.push_back(std::move(request));
    } else {
        std::string error = "not sent: " + GetState().reason;
        Finish(std::move(request), Failure(Answer::Outcome::Gone, std::move(error), false));
    }
}

std::unique_ptr<Request> Client::Core::Internal(std::string name, std::string members,
                                                Duration patience,
                                                std::function<void(const Answer&)> then) {
    auto request = std::make_unique<Request>();
    request->name = std::move(name);
    request->members = std::move(members);
    request->thisLinkOnly = true;
    request->endUs = SteadyTimeUs() + Us(patience);
    request->then = std::move(then);
    request->timer =
        timers_.At(request->endUs, nullptr, [this, raw = request.get()] { TimeOut(raw); });
    return request;
}

void Client::Core::Transmit(std::unique_ptr<Request> request) {
    Lane& lane = request->heavy ? link_->heavy : link_->light;
    const bool sessionless = request->name == "LOGIN";
    if (!lane.Send(std::move(request), sessionless ? std::string() : link_->sessionKey)) {
        Lose("the connection is lost");
    }
}

void Client::Core::TimeOut(const Request* request) {
    Lane::Found found;
    if (Holds(waiting_, request)) {
        found.request = TakeFrom(waiting_, request);
    } else if (link_ && Holds(link_->awaitRenewal, request)) {
        found.request = TakeFrom(link_->awaitRenewal, request);
    } else if (link_) {
        found = link_->light.Take(request);
        if (!found.request) found = link_->heavy.Take(request);
    }
    if (!found.request) return;
    std::string error =
        found.wasSent || IsUp() ? "no answer in time" : "not sent in time: " + GetState().reason;
    Finish(std::move(found.request),
           Failure(Answer::Outcome::TimedOut, std::move(error), found.wasSent));
}

void Client::Core::Finish(std::unique_ptr<Request> request, const Answer& answer) {
    timers_.Cancel(request->timer);
    if (request->then) request->then(answer);
}

void Client::Core::GiveBack(Lane::Found found, const std::string& reason) {
    if (found.request->repeatable && !found.request->thisLinkOnly && !stopping_) {
        waiting_.push_back(std::move(found.request));
        return;
    }
    Finish(std::move(found.request), Failure(Answer::Outcome::Gone, reason, found.wasSent));
}

void Client::Core::TakeReply(std::unique_ptr<Request> request, std::string reply) {
    const Answer answer = AnswerIn(std::move(reply));
    if (answer.error == kIllegalSession && !request->renewed && request->name != "LOGIN") {
        Renew(std::move(request));
    } else {
        Finish(std::move(request), answer);
    }
}

void Client::Core::Renew(std::unique_ptr<Request> request) {
    request->renewed = true;
    if (request->sessionKey != link_->sessionKey) return Transmit(std::move(request));
    link_->awaitRenewal.push_back(std::move(request));
    if (link_->renewing) return;
    link_->renewing = true;
    Transmit(Internal("LOGIN", LogInMembers(), kStepPatience,
                      [this](const Answer& answer) { TakeRenewal(answer); }));
}

void Client::Core::TakeRenewal(const Answer& answer) {
    if (answer.outcome == Answer::Outcome::Gone) return; // and so is the link
    if (!answer)
        return Lose("the session has ended: " + answer.error,
                    answer.outcome == Answer::Outcome::Refused);
    link_->renewing = false;
    link_->sessionKey = answer.message.Text("SessionKey");
    for (auto& request : std::exchange(link_->awaitRenewal, {}))
        Transmit(std::move(request));
}

} // namespace halvane::client
