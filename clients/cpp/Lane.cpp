#include "clients/cpp/Lane.h"

#include <algorithm>
#include <charconv>

namespace halvane::client {
namespace {

std::string Composed(const Request& request) {
    Members head{{"Request", request.name}};
    if (!request.sessionKey.empty()) head.Text("SessionKey", request.sessionKey);
    std::string json = "{" + head.Inside();
    if (!request.members.empty()) json.append(",").append(request.members);
    return json + "}";
}

std::int64_t NumberIn(const std::string& frame) {
    std::int64_t number = 0;
    std::from_chars(frame.data(), frame.data() + frame.size(), number);
    return number;
}

} // namespace

bool Lane::Send(std::unique_ptr<Request> request, const std::string& sessionKey) {
    request->sessionKey = sessionKey;
    queue_.push_back(std::move(request));
    return SendFromQueue();
}

bool Lane::SendFromQueue() {
    while (!queue_.empty() && (limit_ == 0 || out_.size() < limit_)) {
        const std::string number = std::to_string(lastNumber_ + 1);
        const std::string body = Composed(*queue_.front());
        if (!connection_.Send({number, {}, body})) return false;
        out_[++lastNumber_] = std::move(queue_.front());
        queue_.pop_front();
    }
    return true;
}

bool Lane::Receive(std::unique_ptr<Request>& request, std::string& reply) {
    request.reset();
    if (!connection_.Receive(frames_)) return false;
    const auto found = frames_.size() == 3 ? out_.find(NumberIn(frames_[0])) : out_.end();
    if (found != out_.end()) {
        request = std::move(found->second);
        reply = std::move(frames_[2]);
        out_.erase(found);
        static_cast<void>(SendFromQueue()); // what it could not send, it still has
    }
    return true;
}

Lane::Found Lane::Take(const Request* request) {
    for (auto& [number, out] : out_) {
        if (out.get() == request) return {std::move(out), true};
    }
    const auto is = [=](const auto& each) { return each.get() == request; };
    const auto waiting = std::find_if(queue_.begin(), queue_.end(), is);
    if (waiting == queue_.end()) return {};
    Found found{std::move(*waiting), false};
    queue_.erase(waiting);
    return found;
}

void Lane::Forget(const void* owner) {
    for (auto& [number, out] : out_) {
        if (out && out->owner == owner) out->then = nullptr;
    }
    for (auto& waiting : queue_) {
        if (waiting->owner == owner) waiting->then = nullptr;
    }
}

std::vector<Lane::Found> Lane::TakeAll() {
    std::vector<Found> all;
    for (auto& [number, out] : out_) {
        if (out) all.push_back({std::move(out), true});
    }
    for (auto& waiting : queue_)
        all.push_back({std::move(waiting), false});
    out_.clear();
    queue_.clear();
    return all;
}

} // namespace halvane::client
