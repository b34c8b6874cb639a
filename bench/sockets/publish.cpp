// From the platform's event to the frame at the subscribers, all in one process, as one line of
// JSON: the publisher of the gateway, or a bare one that sends the same frame with two lines in
// the log. `journal` is the publisher with the feed behind it.
//
//     publish bare|halvane|journal SUBSCRIBERS RATE SECONDS LOG
//
// A rate of 0 is as many as go. Times are microseconds; the processor's is that of the publishing
// thread.

#include "bench/BatchLogger.h"
#include "bench/FixedPlatform.h"
#include "feed/Feed.h"
#include "foundation/logger/Log.h"
#include "foundation/support/Json.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Settings.h"
#include "foundation/support/Utf.h"
#include "foundation/support/Zmq.h"
#include "publish/ExecutionReportRecord.h"
#include "publish/PublishWorker.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <ctime>
#include <functional>
#include <optional>
#include <vector>

namespace halvane::bench {
namespace {

constexpr std::string_view kStart = R"({"DataType":"EXECUTIONREPORT","Report":{"ReportID":")";
constexpr std::int64_t kWarmUp = 1; // its identifier, all others are times

std::int64_t NowNs() { return std::chrono::steady_clock::now().time_since_epoch().count(); }

double ThreadTime() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// Hears everything, on a thread of its own.
class Subscribers {
  public:
    Subscribers(int count, const std::string& port) {
        for (int n = 0; n < count; ++n) {
            sockets_.emplace_back(zmq_socket(context_.get(), ZMQ_SUB));
            SetZmqOption(sockets_.back().get(), ZMQ_RCVHWM, 0);
            zmq_setsockopt(sockets_.back().get(), ZMQ_SUBSCRIBE, kStart.data(), kStart.size());
            zmq_connect(sockets_.back().get(), ("tcp://127.0.0.1:" + port).c_str());
        }
    }
    void Start() {
        thread_ = std::jthread([this](std::stop_token stop) { Hear(stop); });
    }
    // Waits for so many in all, or until there is silence.
    void WaitFor(std::size_t count) {
        for (std::size_t before = 0, quiet = 0; heard_ < count && quiet < 1000; ++quiet) {
            if (heard_ != before) quiet = 0;
            before = heard_;
            TheClock().Sleep(1);
        }
        thread_ = {};
    }
    std::size_t Ready() const { return ready_; }
    std::vector<double>& Times() { return times_; }
    std::int64_t LastNs() const { return lastNs_; }

  private:
    void Hear(std::stop_token stop) {
        std::vector<zmq_pollitem_t> items;
        for (const ZmqSocket& each : sockets_)
            items.push_back({each.get(), 0, ZMQ_POLLIN, 0});
        std::vector<bool> known(items.size());
        while (!stop.stop_requested()) {
            zmq_poll(items.data(), static_cast<int>(items.size()), 20);
            for (std::size_t n = 0; n < items.size(); ++n) {
                if (items[n].revents == 0) continue;
                for (ZmqMessage frame; frame.Receive(items[n].socket, ZMQ_DONTWAIT);)
                    Take(frame.Bytes().substr(kStart.size()));
                if (!known[n]) ++ready_;
                known[n] = true;
            }
        }
    }
    void Take(std::string_view identifier) {
        std::int64_t sent = 0;
        std::from_chars(identifier.data(), identifier.data() + identifier.size(), sent);
        if (sent == kWarmUp) return;
        lastNs_ = NowNs();
        times_.push_back(static_cast<double>(lastNs_ - sent) / 1e3);
        heard_ = times_.size();
    }

    ZmqContext context_ = MakeZmqContext();
    std::vector<ZmqSocket> sockets_;
    std::vector<double> times_;
    std::atomic<std::size_t> heard_ = 0, ready_ = 0;
    std::atomic<std::int64_t> lastNs_ = 0;
    std::jthread thread_;
};

using Publish = std::function<void(const std::string& identifier)>;

void Measure(const Publish& publish, const std::string& port, char** options) {
    const int count = std::stoi(options[0]);
    const double rate = std::stod(options[1]), seconds = std::stod(options[2]);
    Subscribers subscribers(count, port);
    subscribers.Start();
    while (subscribers.Ready() < static_cast<std::size_t>(count)) {
        publish(std::to_string(kWarmUp));
        TheClock().Sleep(5);
    }
    const std::int64_t start = NowNs();
    const double processor = ThreadTime();
    const auto elapsed = [&] { return static_cast<double>(NowNs() - start) / 1e9; };
    std::int64_t sent = 0;
    while (elapsed() < seconds) {
        while (elapsed() < seconds && (rate == 0 || static_cast<double>(sent) < elapsed() * rate)) {
            publish(std::to_string(NowNs()));
            ++sent;
        }
        if (rate > 0) TheClock().Sleep(1);
    }
    const double used = (ThreadTime() - processor) * 1e6 / static_cast<double>(sent);
    subscribers.WaitFor(static_cast<std::size_t>(sent * count));
    std::vector<double>& times = subscribers.Times();
    std::ranges::sort(times);
    const auto heard = static_cast<double>(times.size());
    const double lasted = static_cast<double>(subscribers.LastNs() - start) / 1e9;
    const auto share = [&](double part) {
        return times.empty() ? 0.0 : times[static_cast<std::size_t>(part * (heard - 1))];
    };
    std::printf(R"({"sent":%lld,"heard":%.0f,"rate":%.1f,"cpu":%.2f,"p50":%.1f,"p99":%.1f})"
                "\n",
                static_cast<long long>(sent), heard, heard / count / lasted, used, share(0.5),
                share(0.99));
}

void Bare(char** options) {
    FixedPlatform platform;
    const auto item = platform.CreateItem(ItemClass::ExecutionReport);
    JsonWriter record;
    WriteRecord(record, ExecutionReportFields(), Form::Published, *item);
    const std::string written = record.Finish();
    const std::string rest = written.substr(written.find(',') - 1) + "}"; // behind the identifier
    BatchLogger log(options[3]);
    const ZmqContext context = MakeZmqContext();
    const ZmqSocket socket(zmq_socket(context.get(), ZMQ_PUB));
    SetZmqOption(socket.get(), ZMQ_SNDHWM, 0);
    zmq_bind(socket.get(), "tcp://127.0.0.1:*");
    char endpoint[64];
    std::size_t size = sizeof endpoint;
    zmq_getsockopt(socket.get(), ZMQ_LAST_ENDPOINT, endpoint, &size);
    const std::string_view bound = endpoint;
    const auto publish = [&](const std::string& identifier) {
        log.Line("[PublishWorker]OnExecutionReport: ", identifier);
        std::string frame(kStart);
        frame.append(identifier).append(rest);
        log.Line("[PublishWorker]SendData:", frame);
        SendWithTrailingZero(socket.get(), std::move(frame));
    };
    Measure(publish, std::string(bound.substr(bound.rfind(':') + 1)), options);
}

void Gateways(char** options, bool journal) {
    const Text log = FromUtf8(options[3]).value_or(L"") + L".log";
    TheLogger().Open(log.c_str(), ILogger::LL_INFO, ILogger::PRINT_FLAG_FILE);
    SetSetting(L"MyIP", L"127.0.0.1");
    FixedPlatform platform;
    std::optional<Feed> feed;
    PublishWorker publisher;
    if (journal) {
        FeedOptions feedOptions;
        feedOptions.folder = FromUtf8(options[3]).value_or(L"") + L"-feed/";
        feed.emplace(feedOptions, L"127.0.0.1");
        publisher.SetTap([&feed](std::string_view json) { feed->Post(json); });
    }
    if (!publisher.StartService(platform)) return;
    const auto publish = [&](const std::string& identifier) {
        publisher.OnExecutionReport(DecimalText(std::stoll(identifier)));
    };
    Measure(publish, ToUtf8(GetSetting(L"PublishPort")), options);
    if (feed && feed->Status().lost > 0) std::fprintf(stderr, "publications were lost\n");
    ShutDownLog();
}

} // namespace
} // namespace halvane::bench

int main(int count, char** arguments) {
    if (count != 6) return 2;
    const std::string_view publisher = arguments[1];
    if (publisher == "bare")
        halvane::bench::Bare(arguments + 2);
    else
        halvane::bench::Gateways(arguments + 2, publisher == "journal");
}
