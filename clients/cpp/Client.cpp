#include "clients/cpp/Core.h"

namespace halvane::client {
namespace {

// Where somebody waits for an answer.
struct Waiter {
    Mutex lock;
    std::condition_variable_any changed;
    std::optional<Answer> answer GUARDED_BY(lock);

    void Put(const Answer& given) {
        const MutexLock guard(lock); // held while telling: the waiter is gone after that
        answer = given;
        changed.notify_all();
    }
    Answer Wait() {
        MutexLock guard(lock);
        changed.wait(guard, [this]() REQUIRES(lock) { return answer.has_value(); });
        return std::move(*answer);
    }
};

std::unique_ptr<Request> MakeRequest(std::string_view name, const Members& members) {
    auto request = std::make_unique<Request>();
    request->name = name;
    request->members = members.Inside();
    return request;
}

} // namespace

Client::Client(Options options, Handlers handlers)
    : core_(std::make_unique<Core>(std::move(options), std::move(handlers))) {}

Client::~Client() = default;

State Client::GetState() const { return core_->GetState(); }

bool Client::WaitConnected(Duration timeout) const { return core_->WaitConnected(timeout); }

Answer Client::Ask(std::string_view name, const Members& members, Duration timeout) {
    Waiter waiter;
    std::unique_ptr<Request> request = MakeRequest(name, members);
    request->then = [&waiter](const Answer& answer) { waiter.Put(answer); };
    core_->Ask(std::move(request), timeout);
    return waiter.Wait();
}

void Client::Ask(std::string_view name, const Members& members, Duration timeout,
                 std::function<void(const Answer&)> then) {
    std::unique_ptr<Request> request = MakeRequest(name, members);
    request->then = [core = core_.get(), then = std::move(then)](const Answer& answer) {
        core->GetTeller().Tell(core, [then, answer] { then(answer); });
    };
    core_->Ask(std::move(request), timeout);
}

Answer Client::AskAll(std::string_view name, std::string_view list, const Members& members,
                      std::vector<Message>& rows, Duration timeout) {
    std::vector<Message> all;
    std::string index = "0";
    while (true) {
        Members page = members;
        Answer answer = Ask(name, page.Text("QryIndex", index), timeout);
        if (!answer) return answer;
        std::vector<Message> some = answer.message.Rows(list);
        const std::string next = some.empty() ? std::string() : some.back().Text("QryIndex");
        const bool more = some.size() == kPage && !next.empty() && next != index;
        for (Message& row : some)
            all.push_back(std::move(row));
        if (!more) {
            rows = std::move(all);
            return answer;
        }
        index = next;
    }
}

} // namespace halvane::client
