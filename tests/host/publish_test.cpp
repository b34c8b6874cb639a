#include "tests/host/TestHost.h"

#include "foundation/support/Settings.h"
#include "foundation/support/Utf.h"
#include "publish/PublishWorker.h"
#include "publish/SendWindow.h"

#include <gtest/gtest.h>

#include <atomic>

namespace halvane {
namespace {

class Publishing : public HostTest {
  protected:
    void SetUp() override {
        HostTest::SetUp();
        events = host.Api().tradeEvents;
    }

    TradeEvents* events = nullptr;
};

TEST_F(Publishing, AHeartbeatEveryTwentySeconds) {
    for (int n = 0; n < 2; ++n) {
        const int sleeps = host.clock.Sleeps();
        host.clock.Advance(20000);
        EXPECT_EQ(host.NextPublication("PING"), R"({"DataType":"PING"})");
        host.clock.WaitForSleeps(sleeps + 2);
    }
    EXPECT_EQ(host.log.Count(R"(INFO [PublishWorker]SendData:{"DataType":"PING"})"), 3);
}

TEST_F(Publishing, CountsAreKeptPerKindAndMask) {
    const struct {
        std::int32_t kind;
        const wchar_t* mask;
        std::int32_t value;
        const wchar_t* setting;
        const wchar_t* kept;
    } cases[] = {
        {7, L"A1", 12, L"RTPositionCount-A1", L"12"},
        {7, L"A1", -100, L"RTPositionCount-A1", L"12"},
        {7, L"A1", -200, L"RTPositionCount-A1", L"12"},
        {8, L"", 3, L"DetailPositionCount-", L"3"},
        {9, L"A1", -5, L"RTMarginCount-A1", L"-5"},
        {32, L"A1", 0, L"CombinationOrderCount-A1", L"0"},
        {2, L"A1", 4, L"AccountCount", L""},
        {0, L"A1", 4, L"AccountCount", L""},
        {101, L"A1", 4, L"AccountCount", L""},
    };
    for (const auto& [kind, mask, value, setting, kept] : cases) {
        events->OnAccountUpdate(kind, mask, value);
        EXPECT_EQ(GetSetting(setting), kept);
    }
}

// A list that breaks off: the publication goes out as far as it was read, the request waits for
// all.
TEST_F(Publishing, AccountsThatThePlatformRefuses) {
    int refusals = 2;
    host.Api().dataItem = [&refusals](std::int32_t, std::int32_t index, ProbeItem& item) {
        item.texts[3] = std::to_wstring(index);
        return index != 1 || --refusals < 0 ? 1 : 0;
    };
    events->OnAccountUpdate(1, L"", 3);
    const std::string published = host.NextPublication("ACCOUNTS");
    EXPECT_NE(published.find(R"("AccountMask":"t2-0")"), std::string::npos);
    EXPECT_EQ(published.find(R"("AccountMask":"t2-1")"), std::string::npos);
    const std::string reply = Ask("ACCOUNTS");
    std::size_t at = 0;
    for (const char* mask : {"t2-0", "t2-1", "t2-2"}) {
        at = reply.find(std::string("\"AccountMask\":\"") + mask, at + 1);
        EXPECT_NE(at, std::string::npos) << mask;
    }
    EXPECT_EQ(reply.find("t2-0", at), std::string::npos); // once each
    events->OnAccountUpdate(1, L"", 0);
    EXPECT_EQ(host.NextPublication("ACCOUNTS"), R"({"DataType":"ACCOUNTS","Accounts":[]})");
}

TEST_F(Publishing, ShortEvents) {
    events->OnReportReset();
    EXPECT_EQ(host.NextPublication("REPORTRESET"), R"({"DataType":"REPORTRESET"})");
    events->OnCommandMsg(2, 1, L"no");
    events->OnCommandMsg(2, 5, L"OV.S.X.\"A\"");
    EXPECT_EQ(host.NextPublication("SYMBOLCLEAR"),
              R"({"DataType":"SYMBOLCLEAR","Data":{"Symbol":"OV.S.X.\"A\""}})");
    events->OnSetTopic(L"corvinta", 0, L"no", std::nullopt);
    events->OnSetTopic(L"Corvinta", 0, L"2330|A1|100|5", std::nullopt);
    EXPECT_EQ(
        host.NextPublication("CorvintaSignal"),
        R"({"DataType":"CorvintaSignal","Data":{"Symbol":"2330","Account":"A1",)"
        R"("ReferenceVolume":"100","TotalScore":"5","TotalScoreChange":"","FloatProfit":"",)"
        R"("Inc":"","RiskTake":"","NewOrderQty":"","TotalN":"","SumChannel":"","SpreadType":""}})");
    events->OnSetTopic(L"VANTOR.RETURN", 20240105, L"Fut", L"/a/b.ini");
    EXPECT_EQ(GetSetting(L"Fut_20240105"), L"/a/b.ini");
    events->OnSetTopic(L"VANTOR.RETURN", 20240105, L"Fut", std::nullopt);
    EXPECT_EQ(GetSetting(L"Fut_20240105"), L"");
}

// Events come as fast as the platform can call while four clients restore page after page: who
// reads gets every publication whole and in order.
TEST_F(Publishing, NothingIsLostOrTornUnderLoad) {
    constexpr int kEvents = 3000;
    host.Api().queryReport = [](std::int32_t, const Text&, ProbeItem& item) {
        item.ints[2] = 60;
        return 1;
    };
    std::vector<std::jthread> clients;
    for (int client = 0; client < 4; ++client) {
        clients.emplace_back([this](std::stop_token stop) {
            while (!stop.stop_requested())
                EXPECT_TRUE(Ask("RESTOREREPORT").ends_with(R"("QryIndex":"50"}]})"));
        });
    }
    // A subscriber that the system does not let run cannot read: it is not left further behind than
    // its queue is long.
    std::atomic<int> read = 0;
    std::jthread platform([this, &read](std::stop_token stop) {
        for (int n = 0; n < kEvents && !stop.stop_requested(); ++n) {
            while (n - read >= 1000 && !stop.stop_requested())
                std::this_thread::yield();
            events->OnCommandMsg(2, 5, std::to_wstring(n));
        }
    });
    for (int n = 0; n < kEvents; ++n) {
        ASSERT_EQ(host.NextPublication("SYMBOLCLEAR"),
                  R"({"DataType":"SYMBOLCLEAR","Data":{"Symbol":")" + std::to_string(n) + "\"}}");
        ++read;
    }
}

TEST_F(Publishing, WhoNeverReadsHoldsUpNobody) {
    const ZmqSocket silent(zmq_socket(host.Context(), ZMQ_SUB));
    SetZmqOption(silent.get(), ZMQ_RCVHWM, 1);
    zmq_setsockopt(silent.get(), ZMQ_SUBSCRIBE, "", 0);
    const std::string endpoint = "tcp://127.0.0.1:" + ToUtf8(GetSetting(L"PublishPort"));
    ASSERT_EQ(zmq_connect(silent.get(), endpoint.c_str()), 0);
    const Text tail(10'000, L'x'); // more than the system takes for it
    for (int n = 0; n < 3000; ++n) {
        events->OnCommandMsg(2, 5, std::to_wstring(n) + tail);
        ASSERT_NE(host.NextPublication("SYMBOLCLEAR").find('"' + std::to_string(n) + 'x'),
                  std::string::npos);
    }
}

TEST_F(Publishing, AReportThatThePlatformDoesNotKnowHasNoIdentity) {
    host.Api().missingValues = true;
    host.Api().queryReport = [](std::int32_t kind, const Text&, ProbeItem& item) {
        item.ints[2] = item.ints[39] = 1; // the list has one report, the report one fill
        return kind == kOneReport ? 0 : 1;
    };
    events->OnExecutionReport(L"unknown");
    events->OnFilledReport(L"unknown");
    for (const std::string& text :
         {host.NextPublication("EXECUTIONREPORT"), host.NextPublication("FILLEDREPORT"),
          Ask("RESTOREREPORT"), Ask("RESTOREFILLREPORT")})
        EXPECT_NE(text.find(R"({"ReportID":"")"), std::string::npos) << text;
}

TEST_F(Publishing, AFailingEventIsDroppedWithALine) {
    host.Api().throwing = {"report"};
    events->OnExecutionReport(L"R1");
    EXPECT_EQ(host.log.Count(
                  "ERROR [PublishWorker]OnExecutionReport failed: the platform is out of order"),
              1);
    host.Api().throwing.clear();
    host.Api().uncreatable = {ItemClass::ExecutionReport, ItemClass::Fill, ItemClass::Account};
    events->OnExecutionReport(L"R1");
    events->OnFilledReport(L"F1");
    events->OnAccountUpdate(1, L"", 2);
    for (const std::string progId : {"Ovaro.TradeRptExecutionReportItem.1",
                                     "Ovaro.TradeFilledOrderItem.1", "Ovaro.TradeDataAccount.1"})
        EXPECT_EQ(host.log.Count("FATAL [PublishWorker]create " + progId + " failed"), 1);
    host.Api().uncreatable.clear();
    events->OnExecutionReport(L"R2");
    EXPECT_FALSE(host.NextPublication("EXECUTIONREPORT").empty());
}

// A publisher that does not hear itself goes on without waiting.
TEST(SendWindow, GivesUpWhenItIsDeaf) {
    LogKeeper log;
    const ZmqContext context = MakeZmqContext();
    SendWindow window;
    window.Open(context, L"127.0.0.1", 1); // where nobody publishes
    const std::string warning =
        "WARN [PublishWorker]hears nothing of its own publications: bursts may be cut short";
    for (int sent = 1; sent <= 10'000; ++sent) {
        window.CountSent();
        ASSERT_EQ(log.Count(warning), sent < 3 * 64 ? 0 : 1) << sent;
    }
}

TEST(PublishPort, ASinkThatIsRefusedEndsTheStart) {
    JumpingClock clock(1000);
    const ScopedClock scoped(clock);
    LogKeeper log;
    SetSetting(L"MyIP", L"127.0.0.1");
    ScriptedTradeApi api;
    api.takesTradeEvents = false;
    PublishWorker worker;
    EXPECT_FALSE(worker.StartService(api));
    EXPECT_EQ(log.Lines().back(), "FATAL Create event failed");
}

} // namespace
} // namespace halvane
