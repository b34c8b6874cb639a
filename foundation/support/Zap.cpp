#include "foundation/support/Zap.h"

#include <cerrno>

namespace halvane {
namespace {

constexpr const char* kAddress = "inproc://zeromq.zap.01";
constexpr const char* kVersion = "1.0";
constexpr const char* kName = "halvane";

std::vector<std::string> ReceiveAll(void* socket, int flags) {
    std::vector<std::string> frames;
    for (bool more = true; more;) {
        ZmqMessage part;
        if (!part.Receive(socket, frames.empty() ? flags : 0)) return {};
        more = part.HasMore();
        frames.emplace_back(part.Bytes());
    }
    return frames;
}

void SendText(void* socket, std::string_view text, int flags) {
    zmq_send(socket, text.data(), text.size(), flags);
}

void SetText(void* socket, int option, std::string_view text) {
    zmq_setsockopt(socket, option, text.data(), text.size());
}

} // namespace

ZapSocket::ZapSocket(void* context) : socket_(zmq_socket(context, ZMQ_REP)) {
    zmq_bind(socket_.get(), kAddress);
}

// A question is: version, number, domain, address, identity, mechanism, credentials; an answer:
// version, number, status, its text, user, metadata.
bool ZapSocket::AnswerNext(const ZapJudge& judge, int flags) {
    constexpr std::size_t kFixed = 6;
    const std::vector<std::string> frames = ReceiveAll(socket_.get(), flags);
    if (frames.empty()) return false;
    std::optional<std::string> user;
    if (frames.size() >= kFixed && frames[0] == kVersion)
        user = judge({frames[2], frames[3], frames[5], {frames.begin() + kFixed, frames.end()}});
    SendText(socket_.get(), kVersion, ZMQ_SNDMORE);
    SendText(socket_.get(), frames.size() > 1 ? frames[1] : "", ZMQ_SNDMORE);
    SendText(socket_.get(), user ? "200" : "400", ZMQ_SNDMORE);
    SendText(socket_.get(), user ? "OK" : "not let in", ZMQ_SNDMORE);
    SendText(socket_.get(), user.value_or(""), ZMQ_SNDMORE);
    SendText(socket_.get(), "", 0);
    return true;
}

ZapThread::ZapThread(void* context, ZapJudge judge)
    : context_(context),
      thread_([asked = ZapSocket(context), judge = std::move(judge)](std::stop_token stop) mutable {
          while (!stop.stop_requested() && (asked.AnswerNext(judge, 0) || zmq_errno() == EINTR)) {
          }
      }) {}

ZapThread::~ZapThread() {
    thread_.request_stop();
    const ZmqSocket last(zmq_socket(context_, ZMQ_REQ)); // none in a context that was shut down
    if (last == nullptr) return;
    zmq_connect(last.get(), kAddress);
    SendText(last.get(), "", 0);
    thread_.join();
}

void AskForSecret(void* socket, const char* domain) {
    SetZmqOption(socket, ZMQ_PLAIN_SERVER, 1);
    SetText(socket, ZMQ_ZAP_DOMAIN, domain);
}

void SaySecret(void* socket, const std::string& secret) {
    SetText(socket, ZMQ_PLAIN_USERNAME, kName);
    SetText(socket, ZMQ_PLAIN_PASSWORD, secret);
}

bool KnowsSecret(const ZapRequest& request, const std::string& secret) {
    return request.mechanism == "PLAIN" && request.credentials.size() == 2 &&
           request.credentials[0] == kName && request.credentials[1] == secret;
}

} // namespace halvane
