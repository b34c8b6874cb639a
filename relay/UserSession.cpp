#include "relay/UserSession.h"

#include "foundation/support/Clock.h"

namespace halvane::relay {
namespace {

constexpr int kMostAsked = 1'000;
constexpr std::int64_t kHoldUs = 2'000'000;

// What users tell apart; docs/relay.md has them.
constexpr const char* kQueueFull = "relay: queue full; nothing was sent";
constexpr const char* kAbsent = "relay: gateway absent; nothing was sent";
constexpr const char* kLost = "relay: gateway absent; it may have been carried out";
constexpr const char* kTooLarge = "relay: carried out; the reply is larger than the engine takes";
constexpr const char* kNoAnswer = "relay: no answer in time; it may have been carried out";

// Of the gateway's own.
bool HasReply(const client::Answer& answer) {
    const bool replied = answer || answer.outcome == client::Answer::Outcome::Refused;
    return replied && answer.message.Has("Reply");
}

const char* FailureOf(const client::Answer& answer) {
    if (HasReply(answer)) return kTooLarge;
    if (!answer.mayHaveArrived) return kAbsent;
    return answer.outcome == client::Answer::Outcome::TimedOut ? kNoAnswer : kLost;
}

} // namespace

std::string UserSession::Failure(const std::string& request, const std::string& why) {
    const client::Members members{
        {"Reply", request}, {"Success", "Fail"}, {"SessionKey", ""}, {"ErrMsg", why}};
    return "{" + members.Inside() + "}";
}

UserSession::UserSession(const client::Options& gateway, std::size_t desk,
                         client::Duration patience, Requests& requests)
    : desk_(desk), patience_(patience), requests_(requests), client_(gateway, [this] {
          client::Handlers handlers;
          handlers.state = [this](const client::State& state) {
              if (state.IsConnected()) SendHeld();
          };
          return handlers;
      }()) {}

void UserSession::Ask(Asked asked) {
    if (underWay_++ >= kMostAsked) return Refuse(asked, kQueueFull);
    const MutexLock guard(lock_);
    if (held_.empty() && client_.GetState().IsConnected()) return Send(std::move(asked));
    held_.push_back(std::move(asked));
}

void UserSession::SendHeld() {
    const MutexLock guard(lock_);
    for (Asked& asked : std::exchange(held_, {}))
        Send(std::move(asked));
}

void UserSession::GiveUpLate() {
    const std::int64_t since = SteadyTimeUs() - kHoldUs;
    const MutexLock guard(lock_);
    while (!held_.empty() && held_.front().atUs < since) {
        Refuse(held_.front(), kAbsent);
        held_.pop_front();
    }
}

void UserSession::Send(Asked asked) {
    const std::string name = asked.name;
    const client::Members members = asked.members;
    client_.Ask(name, members, patience_,
                [this, name, replyTo = std::move(asked.replyTo)](const client::Answer& answer) {
                    underWay_--;
                    const std::string& reply = answer.message.Json();
                    if (HasReply(answer) && reply.size() <= requests_.LargestReply())
                        requests_.Reply(desk_, replyTo, reply, false);
                    else
                        requests_.Reply(desk_, replyTo, Failure(name, FailureOf(answer)), true);
                });
}

void UserSession::Refuse(const Asked& asked, const std::string& why) {
    underWay_--;
    requests_.Reply(desk_, asked.replyTo, Failure(asked.name, why), true);
}

} // namespace halvane::relay
