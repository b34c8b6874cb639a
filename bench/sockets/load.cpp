// A load of requests from one thread, and what came of it as one line of JSON.
//
//     load REQUEST-FILE port=N [clients=N] [window=N] [seconds=N] [count=N] [rate=N] [pid=N]
//     [reports=PORT]
//
// Each client keeps `window` requests under way, or, with a `rate`, all together send so many a
// second. It ends after the seconds or the count, when every reply has come; with `reports` when as
// many execution reports have been published, too. `pid` is the server, whose processor time is
// read. Times are microseconds.

#include "foundation/support/Zmq.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <unistd.h>
#include <vector>

namespace halvane::bench {
namespace {

using Options = std::map<std::string, double>;

constexpr int kPatienceMs = 10'000;

double Now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// In seconds, of all threads.
double ProcessorTime(int pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    const std::string text(std::istreambuf_iterator<char>(file), {});
    double user = 0, system = 0;
    std::sscanf(text.c_str() + text.rfind(')') + 1,
                " %*c %*d %*d %*d %*d %*d %*d %*d %*d %*d %*d %lf %lf", &user, &system);
    return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

class Load {
  public:
    Load(std::string request, Options options)
        : request_(std::move(request)), options_(std::move(options)) {
        for (int n = 0; n < Option("clients", 1); ++n) {
            sockets_.push_back(Connect(ZMQ_DEALER, "port"));
            items_.push_back({sockets_.back().get(), 0, ZMQ_POLLIN, 0});
        }
        underWay_.resize(sockets_.size());
        if (Option("reports", 0) == 0) return;
        reports_ = Connect(ZMQ_SUB, "reports");
        zmq_setsockopt(reports_.get(), ZMQ_SUBSCRIBE, "", 0);
        items_.push_back({reports_.get(), 0, ZMQ_POLLIN, 0});
        zmq_poll(&items_.back(), 1, 200); // until it is known there
    }

    // False when replies are missing.
    bool Run() {
        const int pid = static_cast<int>(Option("pid", 0));
        const double processor = pid == 0 ? 0 : ProcessorTime(pid);
        start_ = last_ = Now();
        while (MoreToCome()) {
            SendWhatIsDue();
            if (zmq_poll(items_.data(), static_cast<int>(items_.size()), Patience()) == 0 &&
                Option("rate", 0) == 0)
                break;
            for (std::size_t n = 0; n < sockets_.size(); ++n)
                while (ReceiveReply(n)) {
                }
            while (reports_ != nullptr && ReceiveReport()) {
            }
        }
        Tell(pid == 0 ? 0 : ProcessorTime(pid) - processor);
        return static_cast<std::int64_t>(times_.size()) == sent_ && failed_ == 0;
    }

  private:
    double Option(const char* name, double otherwise) const {
        const auto found = options_.find(name);
        return found == options_.end() ? otherwise : found->second;
    }
    ZmqSocket Connect(int type, const char* port) {
        ZmqSocket socket(zmq_socket(context_.get(), type));
        SetZmqOption(socket.get(), ZMQ_RCVHWM, 0);
        SetZmqOption(socket.get(), ZMQ_SNDHWM, 0);
        const auto to = std::to_string(static_cast<int>(Option(port, 0)));
        zmq_connect(socket.get(), ("tcp://127.0.0.1:" + to).c_str());
        return socket;
    }
    bool Sending() const {
        const double count = Option("count", 0);
        return count > 0 ? static_cast<double>(sent_) < count
                         : Now() < start_ + Option("seconds", 1);
    }
    bool MoreToCome() const {
        return Sending() || static_cast<std::int64_t>(times_.size()) < sent_ ||
               (reports_ != nullptr && published_ < sent_);
    }
    int Patience() const { return Option("rate", 0) > 0 && Sending() ? 1 : kPatienceMs; }

    void SendWhatIsDue() {
        const double rate = Option("rate", 0), window = Option("window", 1);
        if (rate > 0) {
            while (Sending() && static_cast<double>(sent_) < (Now() - start_) * rate)
                Send(static_cast<std::size_t>(sent_) % sockets_.size());
            return;
        }
        for (std::size_t n = 0; n < sockets_.size(); ++n)
            while (underWay_[n] < window && Sending())
                Send(n);
    }
    // The first frame comes back with the reply.
    void Send(std::size_t client) {
        const double now = Now();
        zmq_send(sockets_[client].get(), &now, sizeof now, ZMQ_SNDMORE);
        zmq_send(sockets_[client].get(), "", 0, ZMQ_SNDMORE);
        zmq_send(sockets_[client].get(), request_.data(), request_.size(), 0);
        ++underWay_[client];
        ++sent_;
    }
    bool ReceiveReply(std::size_t client) {
        ZmqMessage frames[3];
        for (ZmqMessage& frame : frames)
            if (!frame.Receive(sockets_[client].get(), ZMQ_DONTWAIT)) return false;
        double sent = 0;
        std::memcpy(&sent, frames[0].Bytes().data(), sizeof sent);
        last_ = Now();
        times_.push_back((last_ - sent) * 1e6);
        failed_ += frames[2].Bytes().substr(0, 64).find(R"("OK")") == std::string::npos ? 1 : 0;
        --underWay_[client];
        return true;
    }
    bool ReceiveReport() {
        ZmqMessage frame;
        if (!frame.Receive(reports_.get(), ZMQ_DONTWAIT)) return false;
        published_ += frame.Bytes().starts_with(R"({"DataType":"EXECUTIONREPORT")") ? 1 : 0;
        last_ = Now();
        return true;
    }
    double Share(double share) {
        if (times_.empty()) return 0;
        const auto at = static_cast<std::ptrdiff_t>(share * static_cast<double>(times_.size() - 1));
        std::nth_element(times_.begin(), times_.begin() + at, times_.end());
        return times_[static_cast<std::size_t>(at)];
    }
    void Tell(double processor) {
        const auto done = static_cast<double>(times_.size());
        std::printf(R"({"done":%.0f,"missing":%.0f,"failed":%lld,"published":%lld,"rate":%.1f,)"
                    R"("cpu":%.2f,"p50":%.1f,"p99":%.1f,"max":%.1f})"
                    "\n",
                    done, static_cast<double>(sent_) - done, static_cast<long long>(failed_),
                    static_cast<long long>(published_), done / (last_ - start_),
                    processor * 1e6 / std::max(1.0, done), Share(0.5), Share(0.99), Share(1));
    }

    std::string request_;
    Options options_;
    ZmqContext context_ = MakeZmqContext();
    std::vector<ZmqSocket> sockets_;
    ZmqSocket reports_;
    std::vector<zmq_pollitem_t> items_;
    std::vector<int> underWay_; // of each client
    std::vector<double> times_; // of the replies
    std::int64_t sent_ = 0, failed_ = 0, published_ = 0;
    double start_ = 0, last_ = 0;
};

} // namespace
} // namespace halvane::bench

int main(int count, char** arguments) {
    if (count < 3) return 2;
    std::ifstream file(arguments[1], std::ios::binary);
    const std::string request(std::istreambuf_iterator<char>(file), {});
    halvane::bench::Options options;
    for (int n = 2; n < count; ++n) {
        const std::string word = arguments[n];
        options[word.substr(0, word.find('='))] = std::stod(word.substr(word.find('=') + 1));
    }
    return halvane::bench::Load(request, options).Run() ? 0 : 1;
}
