#include "tests/host/TestHost.h"

#include "foundation/logger/CStaticLogger.h"
#include "foundation/logger/Log.h"
#include "foundation/support/Mutex.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Process.h"
#include "foundation/support/Settings.h"
#include "foundation/support/Utf.h"
#include "tests/SilentLogger.h"
#include "tradeapi/TradeData.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace halvane {

constexpr int kPatienceMs = 60'000;

struct LogKeeper::Shared {
    Mutex lock;
    std::condition_variable_any changed;
    std::vector<std::string> lines;
};

LogKeeper::Shared& LogKeeper::TheShared() {
    static Shared shared;
    return shared;
}

class LogKeeper::Logger final : public SilentLogger {
  public:
    void* Delete(unsigned int) override {
        delete this;
        return nullptr;
    }
    void Write(LogLevel level, const wchar_t* text) override {
        const std::string line = ToUtf8(ILogger_GetLogLevelDesc(level)) + " " + ToUtf8(text);
        Shared& shared = TheShared();
        const MutexLock guard(shared.lock);
        shared.lines.push_back(line);
        shared.changed.notify_all();
    }
};

LogKeeper::LogKeeper() {
    TheShared().lines.clear();
    TheStaticLogger().Reset(new Logger);
}

LogKeeper::~LogKeeper() { TheStaticLogger().Reset(ILogger_Create()); }

std::vector<std::string> LogKeeper::Lines() {
    const MutexLock guard(TheShared().lock);
    return TheShared().lines;
}

std::string LogKeeper::WaitFor(const std::string& start) {
    Shared& shared = TheShared();
    MutexLock guard(shared.lock);
    std::string rest;
    const bool found = shared.changed.wait_for(guard, std::chrono::milliseconds(kPatienceMs), [&] {
        for (const std::string& line : shared.lines) {
            if (!line.starts_with(start)) continue;
            rest = line.substr(start.size());
            return true;
        }
        return false;
    });
    EXPECT_TRUE(found) << "never logged: " << start;
    return rest;
}

void LogKeeper::Synchronise() { const MutexLock guard(TheShared().lock); }

int LogKeeper::Count(const std::string& line) {
    const std::vector<std::string> lines = Lines();
    return static_cast<int>(std::ranges::count(lines, line));
}

Text OwnSystemName() { return L"TEST" + DecimalText(CurrentProcessId()); }

TestHost::TestHost(std::vector<Text> arguments)
    : arguments_(std::move(arguments)), created_(std::make_unique<ScriptedTradeApi>()),
      context_(MakeZmqContext()) {
    ClearSettings();
    ForgetTradeData();
    api_ = created_.get();
    api_->platformValues[L"PERMISSIONS.General.LoginType"] = L"1";
    dialog_.emplace(loop_, [this](TextView) { return std::move(created_); });
}

TestHost::~TestHost() {
    if (thread_.joinable()) {
        loop_.Quit(0);
        thread_.join();
    }
    dialog_.reset();
}

bool TestHost::Initialise() { return dialog_->OnInitDialog(arguments_); }

void TestHost::Serve() {
    ASSERT_TRUE(Initialise());
    thread_ = std::jthread([this] { loop_.Run({}, WindowState::Minimised); });
    api_->hostEvents->OnGeneralServiceUpdate();
    api_->hostEvents->OnCommandMsg(2, 1, L"");
    log.WaitFor("INFO [PublishWorker]working...");
    while (log.Count("INFO [RepWorker]working...") < 4)
        std::this_thread::yield();
    std::vector<std::string> calls; // until the last that the start makes
    while (std::ranges::count(calls, "subscribe VANTOR.RETURN") == 0) {
        std::ranges::move(api_->TakeCalls(), std::back_inserter(calls));
        std::this_thread::yield();
    }
    subscriber_.reset(zmq_socket(context_.get(), ZMQ_SUB));
    zmq_setsockopt(subscriber_.get(), ZMQ_SUBSCRIBE, "", 0);
    SetZmqOption(subscriber_.get(), ZMQ_RCVHWM, 0); // as a client does that wants to miss nothing
    SetZmqOption(subscriber_.get(), ZMQ_RCVTIMEO, kPatienceMs);
    const std::string endpoint = "tcp://127.0.0.1:" + ToUtf8(GetSetting(L"PublishPort"));
    ASSERT_EQ(zmq_connect(subscriber_.get(), endpoint.c_str()), 0);
    // Subscribed once something arrives: publications before that are not for this subscriber.
    SetZmqOption(subscriber_.get(), ZMQ_RCVTIMEO, 5);
    for (bool arrived = false; !arrived;) {
        api_->tradeEvents->OnPositionTracker();
        ZmqMessage message;
        arrived = message.Receive(subscriber_.get());
    }
    SetZmqOption(subscriber_.get(), ZMQ_RCVTIMEO, kPatienceMs);
    clock.WaitForSleeps(2); // supervision and heartbeat: from then on time passes for them, too
    api_->TakeCalls();
}

int TestHost::RequestPort() { return std::stoi(log.WaitFor("INFO RepPort:")); }

ZmqSocket TestHost::Client() {
    ZmqSocket client(zmq_socket(context_.get(), ZMQ_REQ));
    SetZmqOption(client.get(), ZMQ_RCVTIMEO, kPatienceMs);
    const std::string endpoint = "tcp://127.0.0.1:" + std::to_string(RequestPort());
    EXPECT_EQ(zmq_connect(client.get(), endpoint.c_str()), 0);
    return client;
}

std::string TestHost::Ask(const std::string& request) {
    const ZmqSocket client = Client();
    log.Synchronise();
    EXPECT_EQ(zmq_send(client.get(), request.data(), request.size(), 0),
              static_cast<int>(request.size()));
    ZmqMessage reply;
    EXPECT_TRUE(reply.Receive(client.get())) << "no reply to " << request.substr(0, 200);
    EXPECT_FALSE(reply.HasMore());
    log.Synchronise();
    return std::string(reply.Bytes());
}

std::string TestHost::AskText(const std::string& request) {
    std::string reply = Ask(request);
    EXPECT_TRUE(reply.ends_with('\0'));
    if (!reply.empty()) reply.pop_back();
    return reply;
}

std::string TestHost::LogIn() {
    const std::string reply =
        AskText(R"({"Request":"LOGIN","Param":{"SystemName":"DEMO","ServiceKey":"demo-key"}})");
    const std::size_t key = reply.find(R"("SessionKey":")") + 14;
    api_->TakeCalls();
    return reply.substr(key, 32);
}

std::string TestHost::NextPublication(const std::string& dataType) {
    for (;;) {
        ZmqMessage message;
        if (!message.Receive(subscriber_.get())) {
            ADD_FAILURE() << "nothing published of kind " << dataType;
            return {};
        }
        const std::string_view bytes = message.Bytes();
        if (!bytes.starts_with("{\"DataType\":\"" + dataType + "\"")) continue;
        EXPECT_TRUE(bytes.ends_with('\0') && !message.HasMore());
        return std::string(bytes.substr(0, bytes.size() - 1));
    }
}

} // namespace halvane
