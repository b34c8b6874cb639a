#include "app/CHalvaneDlg.h"
#include "app/Forwarding.h"
#include "app/QueueLoop.h"
#include "foundation/cpputility/BaseData.h"
#include "foundation/cpputility/TopicBoard.h"
#include "foundation/logger/CStaticLogger.h"
#include "foundation/logger/Log.h"
#include "foundation/support/Event.h"
#include "foundation/support/Utf.h"
#include "request/Supervision.h"
#include "tests/JumpingClock.h"
#include "tests/SilentLogger.h"
#include "tests/TempFolder.h"
#include "tests/hold/OneWorker.h"
#include "tests/hold/Scarcity.h"
#include "tests/host/ScriptedTradeApi.h"
#include "tradeapi/TradeData.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <variant>
#include <vector>

namespace halvane {
namespace {

constexpr const char* kPong = R"({"Request":"PONG","SessionKey":"k"})";

// What is missing when its turn comes.
enum class Lack { Memory, MemoryForAWhile, Files, Platform, Sockets };
const std::pair<Lack, const char*> kLacks[] = {{Lack::Memory, "Memory"},
                                               {Lack::MemoryForAWhile, "MemoryForAWhile"},
                                               {Lack::Files, "Files"},
                                               {Lack::Platform, "Platform"},
                                               {Lack::Sockets, "Sockets"}};

// The n-th of what is lacking fails, as long as this lives.
class Failing {
  public:
    Failing(Lack lack, int n, ScriptedTradeApi& platform) : platform_(platform) {
        if (lack == Lack::Memory) scarcity::FailNth(scarcity::kMemory, n);
        if (lack == Lack::MemoryForAWhile) scarcity::FailNth(scarcity::kMemory, n, 4);
        if (lack == Lack::Files) scarcity::FailNth(scarcity::kFiles, n);
        if (lack == Lack::Sockets)
            fake_zmq::fails = [this, n](const char*) { return calls_++ == n && (struck_ = true); };
        if (lack == Lack::Platform)
            platform.onCall = [this, n] {
                if (calls_++ != n) return;
                struck_ = true;
                throw TradeApiError(-1, L"lacking");
            };
    }
    ~Failing() { End(); }

    bool End() {
        struck_ = scarcity::EndFailing() || struck_;
        fake_zmq::fails = nullptr;
        platform_.onCall = nullptr;
        return struck_;
    }

  private:
    ScriptedTradeApi& platform_;
    int calls_ = 0;
    bool struck_ = false;
};

// It takes no memory, and is not its holder's.
class NoLogger final : public SilentLogger {
  public:
    void* Delete(unsigned int) override { return this; }
};

// What stands around a gateway's parts.
struct Place {
    Place() {
        TheStaticLogger().Reset(&logger);
        std::filesystem::create_directories(folder / "Configs");
        std::filesystem::create_directories(folder / "ComShared");
        WriteFile(folder / "Configs/ContractList_a.ini",
                  R"({"Node":[{"Contracts":["I.F.X.A","I.O.X.B"]},{"Node":[{"Contracts":[]}]}]})");
        WriteFile(folder / "ComShared/CustomSetting.ini", "[Vantor]\nMARDVANT=1\n");
        SetSetting(L"ContractName", L"a:b");
        SetSetting(L"MyIP", L"127.0.0.1");
        for (const std::int32_t kind : {kPositions, kMargins, kDetailPositions, kCombinationOrders})
            StoreRowCount(kind, L"m", 2);
        StoreRowCount(kAccounts, L"", 2);
        SetTradeDataReady();
    }
    ~Place() { TheStaticLogger().Reset(ILogger_Create()); }

    void Script(ScriptedTradeApi& platform) const {
        platform.noteReads = true;
        platform.platformValues[L"ModulePath"] = folder.TextOf("");
        platform.instrumentData[L"ALL s"] = LR"({"Symbol":"s","More":[1.5,{"a":null}]})";
        platform.queryReport = [](std::int32_t, const Text& id, ProbeItem& item) {
            item.texts[29] = L"UK#2=abc;UK#7=a key that is longer than others";
            item.ints[2] = item.ints[39] = id.empty() ? 2 : 1;
            return 1;
        };
        platform.onTopicCommand = [this] {
            SetSetting(L"a_20260102", folder.TextOf("Configs/ContractList_a.ini"));
            if (auto event = NamedEvent::Open(L"a_20260102")) event->Signal();
        };
    }

    NoLogger logger;
    TempFolder folder;
    mutable JumpingClock clock{5'000}; // heartbeats wait
    ScopedClock scoped{clock};
};

// --- requests
// -------------------------------------------------------------------------------------

struct Question {
    const char* name;
    const char* more; // beside the name and the session
};

// clang-format off
const Question kQuestions[] = {
    {"LOGIN",                R"("Param":{"SystemName":"DEMO","ServiceKey":"demo-key"})"},
    {"LOGOUT",               R"("x":1)"},
    {"PONG",                 R"("x":[1,2.5,"a text that is longer than short ones",{}])"},
    {"ACCOUNTS",             R"("x":1)"},
    {"NEWORDER",             R"("Param":{"Symbol":"OV.S.X.A","Price":"B+1.5","ChasePrice":"1|2|3","UserKey1":"a","UserKey7":"b"})"},
    {"NEWORDER",             R"("Param":{"Symbol":"OV.F.X.A","Price":"12.5","ExtCommands":"A=1;","FlowControl":"2","UserKey2":"c"})"},
    {"REPLACEORDER",         R"("Param":{"ReportID":"R1","OrderQty":"5","Price":"1.5"})"},
    {"CANCELORDER",          R"("Param":{"ReportID":"R1","Key":"k"})"},
    {"MARGINS",              R"("AccountMask":"m")"},
    {"POSITIONS",            R"("AccountMask":"m","QryIndex":"0")"},
    {"QUERYALLINSTRUMENT",   R"("Type":"b")"},
    {"QUERYALLINSTRUMENT",   R"("Type":"b","DateTime":"20260102")"},
    {"QUERYINSTRUMENTINFO",  R"("Symbol":"s")"},
    {"RESTOREREPORT",        R"("QryIndex":"0")"},
    {"RESTOREFILLREPORT",    R"("QryIndex":"0")"},
    {"OPTCOMB",              R"("Param":{"BrokerID":"PAPER","Account":"1","Symbol":"a&b","Volume":"1"})"},
    {"QUERYOPTCOMBORDER",    R"("AccountMask":"m","QryIndex":"0")"},
    {"QUERYOPTCOMBPOSITION", R"("AccountMask":"m","QryIndex":"0")"},
    {"POSITIONTRACKER",      R"("AccountMask":"")"},
    {"SENDMESSAGE",          R"("Param":{"System":"LINE","LineID":"@desk","Message":"a message"})"},
    {"NEWSTRATEGYORDER",     R"("Param":{"StrategyType":"SIMPLE","UserKey3":"mine","OrderQty":50})"},
    {"Unknown",              R"("x":1)"},
};
// clang-format on

// One request in which the n-th fails, and the next one. False when none failed any more.
bool AskWithout(const Place& place, const Question& question, Lack lack, int n) {
    const std::string request = R"({"Request":")" + std::string(question.name) +
                                R"(","SessionKey":"k",)" + question.more + "}";
    const LoginInfoTable sessions;
    ScriptedTradeApi platform;
    place.Script(platform);
    OpenSession(L"k");
    OneWorker worker(platform);
    std::optional<Failing> failing;
    bool struck = false;
    const auto replies = worker.Ask({request, kPong}, [&](std::size_t asked) {
        if (asked == 0) return failing.emplace(lack, n, platform), void();
        if (failing) struck = failing->End();
        failing.reset();
        OpenSession(L"k"); // who has left
    });
    EXPECT_EQ(replies.at(0).size(), 1U) << "one reply";
    JsonDocument reply;
    const std::string bytes = replies.at(0).empty() ? "" : replies.at(0).at(0);
    EXPECT_TRUE(bytes.ends_with('\0') &&
                ParseJson(*FromUtf8(bytes.substr(0, bytes.size() - 1)), reply))
        << bytes;
    EXPECT_EQ(replies.at(1), std::vector{std::string(R"({"Reply":"PONG","Success":"OK"})") + '\0'});
    std::vector<CppUtility::DataTableInfo> table;
    CppUtility::GetDataFromTopic(L"LoginInfo")->GetRecords(table);
    EXPECT_EQ(table.size(), SessionCount());
    return struck;
}

// --- events
// ---------------------------------------------------------------------------------------

struct Event {
    const char* name;
    void (*tell)(TradeEvents& sink);
};

const std::optional<Text> kPath = L"a path of more than a few letters";
const Event kEvents[] = {
    {"accounts", [](TradeEvents& sink) { sink.OnAccountUpdate(kAccounts, L"", 2); }},
    {"positions", [](TradeEvents& sink) { sink.OnAccountUpdate(kPositions, L"m", 2); }},
    {"ready", [](TradeEvents& sink) { sink.OnAccountUpdate(kTradeDataLoaded, L"", 1); }},
    {"report", [](TradeEvents& sink) { sink.OnExecutionReport(L"R1-a report of the platform"); }},
    {"fill", [](TradeEvents& sink) { sink.OnFilledReport(L"F1-a fill of the platform"); }},
    {"reset", [](TradeEvents& sink) { sink.OnReportReset(); }},
    {"tracker", [](TradeEvents& sink) { sink.OnPositionTracker(); }},
    {"clear", [](TradeEvents& sink) { sink.OnCommandMsg(2, 5, L"OV.F.PAPF.IDX.202612"); }},
    {"signal", [](TradeEvents& sink) { sink.OnSetTopic(L"Corvinta", 0, L"a,b,c,d", {}); }},
    {"list", [](TradeEvents& sink) { sink.OnSetTopic(L"VANTOR.RETURN", 20260102, L"a", kPath); }},
};

int CountPublished(void* ear, const std::string& whole) {
    int count = 0;
    for (ZmqMessage message; message.Receive(ear, ZMQ_DONTWAIT); ++count) {
        JsonDocument document;
        const std::string bytes(message.Bytes());
        EXPECT_TRUE(bytes.ends_with('\0') &&
                    ParseJson(*FromUtf8(bytes.substr(0, bytes.size() - 1)), document));
        EXPECT_TRUE(whole.empty() || bytes == whole + '\0');
    }
    return count;
}

bool TellWithout(const Place& place, const Event& event, Lack lack, int n) {
    ScriptedTradeApi platform;
    place.Script(platform);
    PublishWorker publisher;
    const int sleeps = place.clock.Sleeps();
    EXPECT_TRUE(publisher.StartService(platform));
    place.clock.WaitForSleeps(sleeps + 1); // the first heartbeat is through
    const ZmqContext context = MakeZmqContext();
    const ZmqSocket ear(zmq_socket(context.get(), ZMQ_SUB));
    zmq_connect(ear.get(), ("tcp://127.0.0.1:" + ToUtf8(GetSetting(L"PublishPort"))).c_str());
    Failing failing(lack, n, platform);
    EXPECT_NO_THROW(event.tell(publisher));
    const bool struck = failing.End();
    EXPECT_LE(CountPublished(ear.get(), ""), 1);
    publisher.OnReportReset();
    EXPECT_EQ(CountPublished(ear.get(), R"({"DataType":"REPORTRESET"})"), 1);
    return struck;
}

// --- the host's events
// ----------------------------------------------------------------------------

void NoPublisher(TradeEvents&) {}
const Event kHostEvents[] = {{"services", NoPublisher}, {"command", NoPublisher}};

bool PostWithout(const Event& event, Lack lack, int n) {
    ScriptedTradeApi platform;
    QueueLoop loop;
    CHalvaneDlg dialog(loop, nullptr);
    HostEvents& host = dialog;
    Failing failing(lack, n, platform);
    if (&event == kHostEvents) {
        EXPECT_NO_THROW(host.OnGeneralServiceUpdate());
    } else {
        EXPECT_NO_THROW(host.OnCommandMsg(1, 0, L"a text that is longer than short ones are"));
    }
    return failing.End();
}

// --- silent sessions
// -----------------------------------------------------------------------------------

const Event kSilence[] = {{"silence", NoPublisher}};

bool DropWithout(Lack lack, int n) {
    const LoginInfoTable sessions;
    ScriptedTradeApi platform;
    OpenSession(L"k");
    RepWorker worker(L"1", "secret");
    CppUtility::ReceiveNotification& receiver = worker;
    std::stop_source once;
    once.request_stop();
    Failing failing(lack, n, platform);
    EXPECT_NO_THROW(ExecuteCheckPingTime(once.get_token()));
    EXPECT_NO_THROW(receiver.OnNotification(L"RemoveLoginInfo", L"k"));
    const bool struck = failing.End();
    std::vector<CppUtility::DataTableInfo> table;
    CppUtility::GetDataFromTopic(L"LoginInfo")->GetRecords(table);
    EXPECT_EQ(table.size(), SessionCount());
    DropSession(L"k");
    EXPECT_EQ(SessionCount(), 0U);
    return struck;
}

// --- a worker's start
// --------------------------------------------------------------------------------------

const Event kStart[] = {{"start", NoPublisher}};

// It serves or ends; the next one serves.
bool StartWithout(Lack lack, int n) {
    const LoginInfoTable sessions;
    ScriptedTradeApi platform;
    OpenSession(L"k");
    OneWorker worker(platform);
    bool struck = false;
    {
        Failing failing(lack, n, platform);
        try {
            worker.Ask({}, [&](std::size_t) { struck = failing.End(); });
        } catch (const std::exception&) { // without memory at its start the process ends
        }
        struck = failing.End() || struck;
    }
    const auto replies = worker.Ask({kPong}, [](std::size_t) {});
    EXPECT_EQ(replies.at(0), std::vector{std::string(R"({"Reply":"PONG","Success":"OK"})") + '\0'});
    return struck;
}

// --- the broker's loop
// -------------------------------------------------------------------------------

const Event kForwarding[] = {{"forwarding", NoPublisher}};

ZmqSocket OpenSocket(const ZmqContext& context, int type, int port, bool binds) {
    ZmqSocket socket(zmq_socket(context.get(), type));
    const std::string endpoint = "tcp://127.0.0.1:" + std::to_string(port);
    EXPECT_EQ((binds ? zmq_bind : zmq_connect)(socket.get(), endpoint.c_str()), 0);
    return socket;
}

void AskThrough(void* client) {
    for (const char* body : {"one", "two", "three"}) {
        for (const char* hop : {"first", "second", "third", ""})
            ZmqMessage(hop).Send(client, ZMQ_SNDMORE);
        ZmqMessage(body).Send(client, 0);
    }
    ZmqMessage("nothing that can be answered").Send(client, 0);
}

std::vector<std::string> HeardBy(void* client) {
    std::vector<std::string> bodies;
    for (std::vector<ZmqMessage> parts; ReceiveParts(client, parts, ZMQ_DONTWAIT);) {
        EXPECT_EQ(parts.size(), 5U) << "in its envelope";
        bodies.emplace_back(parts.back().Bytes());
    }
    return bodies;
}

// Two clients and a worker act on the thread of the loop while it waits: they ask three times each,
// and do so again when nothing fails any more.
bool ForwardWithout(Lack lack, int n) {
    ScriptedTradeApi platform;
    Forwarding forwarding;
    const ZmqContext context = MakeZmqContext();
    const ZmqSocket front = OpenSocket(context, ZMQ_ROUTER, 41000, true);
    const ZmqSocket back = OpenSocket(context, ZMQ_DEALER, 42000, true);
    const ZmqSocket worker = OpenSocket(context, ZMQ_REP, 42000, false);
    const ZmqSocket clients[] = {OpenSocket(context, ZMQ_DEALER, 41000, false),
                                 OpenSocket(context, ZMQ_DEALER, 41000, false)};
    std::stop_source stop;
    std::optional<Failing> failing;
    bool struck = false;
    int rounds = 0;
    fake_zmq::whenIdle = [&] {
        const fake_zmq::TestsWork own;
        bool answered = false;
        for (std::vector<ZmqMessage> parts; ReceiveParts(worker.get(), parts, ZMQ_DONTWAIT);)
            answered = SendParts(worker.get(), parts);
        if (answered) return;
        if (failing) struck = failing->End();
        for (const ZmqSocket& each : clients) {
            const std::vector<std::string> all{"one", "two", "three"};
            EXPECT_EQ(HeardBy(each.get()), rounds == 0 ? std::vector<std::string>() : all);
            AskThrough(each.get());
        }
        if (rounds++ == 0) failing.emplace(lack, n, platform);
        if (rounds < 3) return;
        stop.request_stop();
        zmq_ctx_shutdown(context.get());
    };
    forwarding.Run(front.get(), back.get(), "secret", stop.get_token());
    fake_zmq::whenIdle = nullptr;
    return struck;
}

// --- every n-th of them
// ---------------------------------------------------------------------------

using Case = std::variant<const Question*, const Event*>;

class EveryFailure : public testing::TestWithParam<std::pair<Lack, const char*>> {
  protected:
    EveryFailure() {
        for (const int end : {SIGSEGV, SIGABRT})
            std::signal(end, [](int number) {
                std::fprintf(stderr, "ended in %s\n", where);
                std::signal(number, SIG_DFL);
                std::raise(number);
            });
    }

    static bool Without(const Place& place, const Case& which, Lack lack, int n) {
        if (const auto* question = std::get_if<const Question*>(&which))
            return AskWithout(place, **question, lack, n);
        const Event& event = *std::get<const Event*>(which);
        if (&event == kSilence) return DropWithout(lack, n);
        if (&event == kStart) return StartWithout(lack, n);
        if (&event == kForwarding) return ForwardWithout(lack, n);
        if (event.tell == NoPublisher) return PostWithout(event, lack, n);
        return TellWithout(place, event, lack, n);
    }

    // How many there were.
    static int BearEach(const Place& place, const Case& which, Lack lack) {
        Without(place, which, lack, -1); // makes what stays
        const char* const name = std::visit([](const auto* each) { return each->name; }, which);
        for (int n = 0; !HasFailure(); ++n) {
            std::snprintf(where, sizeof where, "%s, number %d", name, n);
            SCOPED_TRACE(where);
            const int handles = fake_zmq::OpenHandles();
            const int before = scarcity::LiveBlocks();
            if (!Without(place, which, lack, n)) return n;
            const int after = scarcity::LiveBlocks();
            if (after > before) Without(place, which, lack, n); // some is made once and for all
            EXPECT_LE(scarcity::LiveBlocks(), after) << "nothing is left";
            EXPECT_EQ(fake_zmq::OpenHandles(), handles) << "nothing of the library's is left";
        }
        return 0;
    }

    static inline char where[80] = "";
};

TEST_P(EveryFailure, IsBorne) {
    const Place place;
    int borne = 0;
    for (const Question& each : kQuestions)
        borne += BearEach(place, &each, GetParam().first);
    for (const Event& each : kEvents)
        borne += BearEach(place, &each, GetParam().first);
    borne += BearEach(place, kSilence, GetParam().first);
    borne += BearEach(place, kStart, GetParam().first);
    if (GetParam().first == Lack::Memory || GetParam().first == Lack::Sockets)
        borne += BearEach(place, kForwarding, GetParam().first);
    for (const Event& each : kHostEvents)
        borne += BearEach(place, &each, GetParam().first);
    EXPECT_GT(borne, 0);
    RecordProperty("borne", borne);
}

INSTANTIATE_TEST_SUITE_P(Of, EveryFailure, testing::ValuesIn(kLacks),
                         [](const auto& each) { return each.param.second; });

} // namespace
} // namespace halvane
