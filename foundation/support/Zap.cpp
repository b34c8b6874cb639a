#include "foundation/support/Zap.h"

#include "foundation/support/Clock.h"

#include <cerrno>

namespace halvane {
namespace {

constexpr const char* kAddress = "inproc://zeromq.zap.01";
constexpr const char* kVersion = "1.0";
constexpr const char* kName = "halvane";

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
// version, number, status, its text, user, metadata. Where there is no memory to judge somebody, he
// is not let in, and comes again.
bool ZapSocket::AnswerNext(const ZapJudge& judge, int flags) {
    if (!ReceiveParts(socket_.get(), question_, flags)) return false;
    std::optional<std::string> user;
    try {
        user = Judge(judge);
    } catch (const std::exception&) {
        user.reset();
    }
    SendText(socket_.get(), kVersion, ZMQ_SNDMORE);
    SendText(socket_.get(), question_.size() > 1 ? question_[1].Bytes() : "", ZMQ_SNDMORE);
    SendText(socket_.get(), user ? "200" : "400", ZMQ_SNDMORE);
    SendText(socket_.get(), user ? "OK" : "not let in", ZMQ_SNDMORE);
    SendText(socket_.get(), user ? std::string_view(*user) : "", ZMQ_SNDMORE);
    SendText(socket_.get(), "", 0);
    return true;
}

std::optional<std::string> ZapSocket::Judge(const ZapJudge& judge) {
    constexpr std::size_t kFixed = 6;
    std::vector<std::string> frames;
    for (ZmqMessage& each : question_)
        frames.emplace_back(each.Bytes());
    if (frames.size() < kFixed || frames[0] != kVersion) return std::nullopt;
    return judge({frames[2], frames[3], frames[5], {frames.begin() + kFixed, frames.end()}});
}

ZapThread::ZapThread(void* context, ZapJudge judge)
    : context_(context),
      thread_([asked = ZapSocket(context), judge = std::move(judge)](std::stop_token stop) mutable {
          while (!stop.stop_requested()) {
              try {
                  if (!asked.AnswerNext(judge, 0) && zmq_errno() != EINTR) return;
              } catch (const std::exception&) { // no memory for a question: it is read on
                  TheClock().Sleep(1, stop);
              }
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
