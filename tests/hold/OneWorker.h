#pragma once

#include "foundation/support/Settings.h"
#include "request/RepWorker.h"
#include "tests/hold/FakeZmq.h"

#include <functional>
#include <string>
#include <vector>

namespace halvane {

// A request worker that serves on the thread of whoever asks, through sockets in memory.
class OneWorker {
  public:
    explicit OneWorker(TradeApi& platform) : platform_(platform) {
        SetSetting(L"RelayPort", L"40000");
        broker_.reset(zmq_socket(context_.get(), ZMQ_DEALER));
        static_cast<void>(BindTcp(broker_.get(), L"127.0.0.1", 40000));
    }

    // The replies to each of the requests, which one worker serves one after the other; `between`
    // is called before each request with its number, and at the end.
    std::vector<std::vector<std::string>> Ask(const std::vector<std::string>& requests,
                                              const std::function<void(std::size_t)>& between) {
        std::vector<std::vector<std::string>> replies;
        std::stop_source stop;
        fake_zmq::whenIdle = [&] {
            const fake_zmq::TestsWork own;
            between(replies.size());
            if (!replies.empty()) replies.back() = Receive();
            if (replies.size() == requests.size()) {
                stop.request_stop();
            } else {
                Send(requests[replies.size()]);
                replies.emplace_back();
            }
        };
        RepWorker(L"1", "secret").StartService(platform_, stop.get_token());
        fake_zmq::whenIdle = nullptr;
        Receive(); // what nobody should have sent any more
        return replies;
    }

  private:
    void Send(const std::string& request) {
        ZmqMessage delimiter;
        delimiter.Send(broker_.get(), ZMQ_SNDMORE);
        SendWithTrailingZero(broker_.get(), request);
    }
    std::vector<std::string> Receive() {
        std::vector<std::string> bodies;
        for (ZmqMessage part; part.Receive(broker_.get(), ZMQ_DONTWAIT);)
            if (!part.HasMore()) bodies.emplace_back(part.Bytes());
        return bodies;
    }

    TradeApi& platform_;
    ZmqContext context_ = MakeZmqContext();
    ZmqSocket broker_;
};

} // namespace halvane
