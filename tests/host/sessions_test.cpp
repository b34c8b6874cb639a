#include "tests/host/TestHost.h"

#include "foundation/cpputility/BaseData.h"
#include "foundation/cpputility/TopicBoard.h"
#include "foundation/support/Settings.h"
#include "foundation/support/Utf.h"
#include "request/Sessions.h"
#include "tradeapi/TradeData.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace halvane {
namespace {

constexpr const char* kPongReply = R"({"Reply":"PONG","Success":"OK"})";

class Sessions : public HostTest {
  protected:
    void SetUp() override { host.Serve(); }

    // Lets time pass in the supervision's steps of 10 s, and each time waits until it has looked.
    void PassTime(std::int64_t ms) {
        for (; ms > 0; ms -= 10000) {
            const bool heartbeat = (passedMs_ += 10000) % 20000 == 0;
            const int sleeps = host.clock.Sleeps();
            host.clock.Advance(10000);
            host.clock.WaitForSleeps(sleeps + (heartbeat ? 2 : 1));
        }
    }

    std::string Pong(const std::string& ofKey) {
        key = ofKey;
        return Ask("PONG");
    }

  private:
    std::int64_t passedMs_ = 0;
};

TEST_F(Sessions, LogInTellsKeyAndPublishPort) {
    const std::string reply = host.AskText(
        R"({"Request":"LOGIN","Param":{"SystemName":"DEMO","ServiceKey":"demo-key"}})");
    EXPECT_EQ(host.Api().TakeCalls(),
              (std::vector<std::string>{"command 3 0 COM demo-key", "mode 3"}));
    key = reply.substr(46, 32);
    EXPECT_EQ(key.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_EQ(reply, R"({"Reply":"LOGIN","Success":"OK","SessionKey":")" + key +
                         R"(","SubPort":")" + ToUtf8(GetSetting(L"PublishPort")) + "\"}");
    EXPECT_EQ(Pong(key), kPongReply);
}

TEST_F(Sessions, ALogInThatFailsHalfwayTellsNothing) {
    const std::string logIn =
        R"({"Request":"LOGIN","SessionKey":"x","Param":{"SystemName":"DEMO","ServiceKey":"demo-key"}})";
    for (const std::string call : {"command", "mode"}) {
        host.Api().throwing = {call};
        EXPECT_EQ(host.AskText(logIn),
                  R"({"Reply":"LOGIN","Success":"Fail","SessionKey":"","ErrMsg":""})");
    }
    host.log.WaitFor("ERROR [RepWorker]LOGIN failed: ");
    host.Api().throwing = {};
    host.Api().TakeCalls();
    std::vector<std::string> calls; // the worker whose mode was refused enters it next time
    for (int n = 0; n < 8; ++n)
        host.AskText(logIn);
    std::ranges::move(host.Api().TakeCalls(), std::back_inserter(calls));
    EXPECT_EQ(std::ranges::count(calls, "mode 3"), 4);
}

// Each worker brings the platform into its mode for sessions with its first log-in, not again.
TEST_F(Sessions, EveryWorkerSetsTheModeOnce) {
    std::set<std::string> keys;
    for (int n = 0; n < 12; ++n) {
        keys.insert(host.AskText(
            R"({"Request":"LOGIN","Param":{"SystemName":"DEMO","ServiceKey":"demo-key"}})"));
    }
    EXPECT_EQ(keys.size(), 12u); // in the same second, yet different
    EXPECT_EQ(std::ranges::count(host.Api().TakeCalls(), "mode 3"), 4);
}

TEST_F(Sessions, TheTickCountMayWrap) {
    host.clock.SetTick(0xFFFFFFFF - 5000);
    key = host.LogIn();
    PassTime(20000);
    EXPECT_EQ(Pong(key), kPongReply);
    PassTime(70000);
    host.log.WaitFor("INFO RemoveLoginInfo(" + key + ")");
}

// The supervision has read the time, then a ping comes: that lies ahead of the time.
TEST_F(Sessions, APingFromTheFutureIsJustNow) {
    key = host.LogIn();
    host.clock.SetTick(host.clock.TickCount() - 30000);
    PassTime(20000);
    EXPECT_EQ(Pong(key), kPongReply);
}

// What STATUS says between two texts that stand in it.
std::string Between(const std::string& status, const std::string& before,
                    const std::string& after) {
    const std::size_t start = status.find(before);
    if (start == std::string::npos) return "no " + before;
    const std::size_t from = start + before.size();
    return status.substr(from, status.find(after, from) - from);
}

TEST_F(Sessions, StatusTellsOfTheGatewayWhereItIsWanted) {
    key = host.LogIn();
    EXPECT_EQ(Ask("STATUS"),
              R"({"Reply":"Req","Success":"Fail","SessionKey":"","ErrMsg":"Undefined"})");
    SetSetting(L"Status", L"1");
    const std::string before = Ask("STATUS");
    PassTime(30000);
    Ask("PONG");
    host.clock.Advance(1500);
    const std::string own = key;
    Pong("nobody's");
    key = own;
    const std::string status = Ask("STATUS");
    EXPECT_EQ(Between(status, R"("Sessions":)", R"(,"Workers")"),
              R"([{"AgeMs":"31500","SilentMs":"0"}])");
    EXPECT_EQ(Between(status, R"("UnderWay":")", "\""), "1");
    const auto pongs = [](const std::string& text, const std::string& member) {
        const std::string row = Between(text, R"({"Request":"PONG","Count":)", "}") + "}";
        return member.empty() ? std::atoi(row.c_str() + 1)
                              : std::atoi(Between(row, member, "\"").c_str());
    };
    EXPECT_EQ(pongs(status, ""), std::max(pongs(before, ""), 0) + 2);
    EXPECT_EQ(pongs(status, R"("Failures":")"), pongs(before, R"("Failures":")") + 1);
    EXPECT_NE(Between(status, R"("DataType":"PING","Count":")", "\""), "0");
    EXPECT_EQ(Between(status, R"("Paper":")", "\""), "0");
}

// The table takes a text up to its first zero, and whoever has the topic may change it.
TEST_F(Sessions, OnlyItsOwnKeyEndsASession) {
    SetSetting(L"Status", L"1");
    const std::string own = key = host.LogIn();
    key += R"(\u0000)";
    EXPECT_EQ(Ask("LOGOUT"), R"({"Reply":"LOGOUT","Success":"OK"})");
    key = own;
    EXPECT_EQ(Between(Ask("STATUS"), R"("Sessions":)", R"(,"Workers")"),
              R"([{"AgeMs":"0","SilentMs":"0"}])");
    RemoveLoginInfo(*FromUtf8(own));
    EXPECT_EQ(Between(Ask("STATUS"), R"("Sessions":)", R"(,"Workers")"), "[]");
}

// One waits for trade data, one for a row that the platform refuses.
TEST_F(Sessions, AHostThatEndsWaitsForNoRequest) {
    key = host.LogIn();
    host.Api().tradeEvents->OnAccountUpdate(kAccounts, L"", 1);
    host.Api().dataItem = [](auto&&...) { return 0; };
    host.clock.MoveByItself(0);
    std::vector<ZmqSocket> clients;
    for (const std::string request : {"MARGINS", "ACCOUNTS"}) {
        const int sleeps = host.clock.Sleeps();
        const std::string text = R"({"Request":")" + request + R"(","SessionKey":")" + key + "\"}";
        clients.push_back(host.Client());
        zmq_send(clients.back().get(), text.data(), text.size(), 0);
        host.clock.WaitForSleeps(sleeps + 1);
    }
}

} // namespace
} // namespace halvane
