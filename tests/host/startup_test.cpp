#include "tests/host/TestHost.h"

#include "app/CommandLine.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Settings.h"
#include "foundation/support/Utf.h"

#include <gtest/gtest.h>

#include <tuple>

namespace halvane {
namespace {

TEST(StartUp, CommandLine) {
    const LogKeeper log;
    const struct {
        std::vector<Text> arguments;
        Text contractName;
        Text subTopic;
    } cases[] = {
        {{L"h", L"S", L"k"}, L"", L""},
        {{L"h", L"S", L"k", L"T1|T2"}, L"", L"T1|T2"},
        {{L"h", L"S", L"k", L"C", L"T"}, L"C", L"T"},
        {{L"h", L"S", L"k", L"C", L"T", L"more"}, L"C", L"T"},
        {{L"", L"", L"", L"", L""}, L"", L""},
    };
    for (const auto& [arguments, contractName, subTopic] : cases) {
        ClearSettings();
        EXPECT_TRUE(ParseCommandLine(arguments));
        EXPECT_EQ(GetSetting(L"SystemName"), arguments[1]);
        EXPECT_EQ(GetSetting(L"ContractName"), contractName);
        EXPECT_EQ(GetSetting(L"SubTopic"), subTopic);
    }
    EXPECT_FALSE(ParseCommandLine({L"h", L"S"}));
}

TEST(StartUp, RequestPort) {
    EXPECT_EQ(RequestPortOf(L"A"), 50606);
    EXPECT_EQ(RequestPortOf(L""), 50541);
    EXPECT_EQ(RequestPortOf(Text(145, L'A')), 59966);
    EXPECT_EQ(RequestPortOf(Text(146, L'A')), 50031);
    EXPECT_EQ(RequestPortOf(Text(400, L'A')), 66541); // 10,000 are taken off only once
}

TEST(StartUp, EveryFailureWritesItsFatalLine) {
    const struct {
        std::vector<Text> arguments;
        void (*script)(ScriptedTradeApi&);
        std::string line;
    } cases[] = {
        {{L"h", L"S"}, [](ScriptedTradeApi&) {}, "FATAL Authentication failed!!"},
        {{L"h", OwnSystemName(), L"k"},
         [](ScriptedTradeApi& api) { api.takesHostEvents = false; },
         "FATAL Create event failed"},
        {{L"h", OwnSystemName(), L"k"},
         [](ScriptedTradeApi& api) { api.connectResult = 0; },
         "FATAL failed to connect to Ovaro, result:0"},
        {{L"h", OwnSystemName(), L"k"},
         [](ScriptedTradeApi& api) { api.connectResult = -7; },
         "FATAL failed to connect to Ovaro, result:-7"},
        {{L"h", OwnSystemName(), L"k"},
         [](ScriptedTradeApi& api) { api.throwing = {"connect"}; },
         "FATAL failed to connect to Ovaro, result:0"},
    };
    for (const auto& [arguments, script, line] : cases) {
        TestHost host(arguments);
        script(host.Api());
        EXPECT_FALSE(host.Initialise());
        EXPECT_EQ(host.log.Lines().back(), line);
    }
}

TEST(StartUp, OneInstancePerSystemName) {
    const auto none = [](TextView) { return std::unique_ptr<TradeApi>(); };
    TestHost first({L"h", OwnSystemName(), L"k"});
    ASSERT_TRUE(first.Initialise());
    QueueLoop loop;
    CHalvaneDlg second(loop, none);
    EXPECT_FALSE(second.OnInitDialog({L"h", OwnSystemName(), L"k"}));
    EXPECT_EQ(first.log.Lines().back(), "FATAL CheckInstance failed!!");
    CHalvaneDlg other(loop, none);
    EXPECT_FALSE(other.OnInitDialog({L"h", L"Another" + OwnSystemName(), L"k"}));
    EXPECT_EQ(first.log.Lines().back(), "FATAL Create Ovaro.TradeAPI.1 failed");
}

TEST(StartUp, TellsThePlatformInOrder) {
    TestHost host({L"addr", OwnSystemName(), L"k", L"T1||T2"});
    ASSERT_TRUE(host.Initialise());
    EXPECT_EQ(
        host.Api().TakeCalls(),
        (std::vector<std::string>{"mode 0", "connect addr " + ToUtf8(OwnSystemName()) + " k 1",
                                  "subscribe T1", "subscribe T2"}));
}

TEST(StartUp, ATopicThatIsRefusedIsSaidAndNoMore) {
    TestHost host({L"addr", OwnSystemName(), L"k", L"T1|T2"});
    host.Api().throwing = {"subscribe"};
    EXPECT_TRUE(host.Initialise());
    EXPECT_EQ(host.log.Count("ERROR SubTopic failed: the platform is out of order"), 2);
}

TEST(StartUp, ThePlatformOrAPublisherThatCannotStartEndsIt) {
    const struct {
        void (*script)(ScriptedTradeApi&);
        std::int32_t subKind;
    } cases[] = {
        {[](ScriptedTradeApi&) {}, 0},
        {[](ScriptedTradeApi& api) { api.takesTradeEvents = false; }, 1},
    };
    for (const auto& [script, subKind] : cases) {
        TestHost host;
        script(host.Api());
        ASSERT_TRUE(host.Initialise());
        host.Api().hostEvents->OnCommandMsg(1, subKind, L"not for it");
        host.Api().hostEvents->OnCommandMsg(2, 7, L"nor this");
        host.Api().hostEvents->OnCommandMsg(2, subKind, L"");
        EXPECT_EQ(host.Run(), 0);
    }
}

TEST(StartUp, TheWindowTellsHowItIs) {
    TestHost host;
    EXPECT_TRUE(host.StatusText().starts_with(L"System: -\r\nPlatform: not connected\r\n"));
    host.Serve();
    host.LogIn();
    const Text start = L"System: " + OwnSystemName() +
                       L"\r\nPlatform: connected\r\nAddress: 127.0.0.1\r\nRequest port: " +
                       DecimalText(host.RequestPort()) + L"\r\nPublish port: " +
                       GetSetting(L"PublishPort") + L"\r\nSessions: 1\r\nRequests served: ";
    EXPECT_EQ(host.StatusText().substr(0, start.size()), start);
}

TEST(StartUp, ASecondStartIsIgnored) {
    TestHost host;
    host.Serve();
    host.Api().hostEvents->OnGeneralServiceUpdate();
    host.Api().hostEvents->OnCommandMsg(2, 1, L"again");
    host.Api().hostEvents->OnCommandMsg(3, 0, L"last");
    host.log.WaitFor("INFO OnCommandMsg:3-0-last");
    EXPECT_EQ(host.log.Count("INFO [PublishWorker]StartService()"), 1);
    EXPECT_EQ(host.log.Count("INFO [RepWorker]StartService()"), 4);
    EXPECT_EQ(host.AskText(R"({"Request":"LOGOUT"})"), R"({"Reply":"LOGOUT","Success":"OK"})");
}

// The port, or one of the next few: anything on the machine may hold one of them for a moment.
void ExpectAbout(int port, int expected) {
    EXPECT_GE(port, expected);
    EXPECT_LT(port, expected + 20);
}

TEST(StartUp, ATakenPortMovesOn) {
    const ZmqContext context = MakeZmqContext();
    const int port = RequestPortOf(OwnSystemName());
    ZmqSocket taken[3];
    for (int n = 0; n < 3; ++n) { // one of which may be taken already, to the same end
        taken[n].reset(zmq_socket(context.get(), ZMQ_REP));
        std::ignore = BindTcp(taken[n].get(), L"127.0.0.1", port + n - (n < 2 ? 0 : 10'000));
    }
    TestHost host({L"h", OwnSystemName(), L"k"});
    host.Serve();
    ExpectAbout(host.RequestPort(), port + 2);
    ExpectAbout(std::stoi(GetSetting(L"RelayPort")), port + 3 - 10'000);
    EXPECT_EQ(host.AskText(R"({"Request":"LOGOUT"})"), R"({"Reply":"LOGOUT","Success":"OK"})");
}

TEST(StartUp, APortBeyondSixteenBitsIsRefused) {
    const Text name = OwnSystemName() + Text(380, L'A');
    TestHost host({L"h", name, L"k"});
    host.Serve();
    ASSERT_GT(RequestPortOf(name), 65535);
    ExpectAbout(host.RequestPort(), RequestPortOf(name) + 1 - 10'000); // refused, one up, wrapped
}

} // namespace
} // namespace halvane
