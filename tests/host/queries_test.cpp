#include "tests/host/TestHost.h"

#include "foundation/support/Process.h"
#include "foundation/support/Settings.h"
#include "foundation/support/Utf.h"
#include "request/Sessions.h"
#include "tests/Golden.h"
#include "tests/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <future>
#include <regex>

namespace halvane {
namespace {

class Queries : public HostTest {
  protected:
    using HostTest::HostTest;

    // The values of a member, in order.
    static std::vector<std::string> ValuesOf(const std::string& reply, const std::string& member) {
        std::vector<std::string> values;
        const std::regex pattern("\"" + member + "\":\"([^\"]*)\"");
        for (std::sregex_iterator at(reply.begin(), reply.end(), pattern), end; at != end; ++at)
            values.push_back((*at)[1]);
        return values;
    }

    static std::vector<std::string> Numbers(int first, int last) {
        std::vector<std::string> numbers;
        for (int n = first; n <= last; ++n)
            numbers.push_back(std::to_string(n));
        return numbers;
    }
};

TEST_F(Queries, PagesOfFiftyRows) {
    const struct {
        int count;
        std::string start;
        int first, last;
    } pages[] = {
        {0, "0", 1, 0},         {1, "0", 1, 1},     {49, "0", 1, 49},   {50, "0", 1, 50},
        {51, "0", 1, 50},       {51, "50", 51, 51}, {120, "0", 1, 50},  {120, "50", 51, 100},
        {120, "100", 101, 120}, {120, "120", 1, 0}, {120, "999", 1, 0}, {51, "abc", 1, 50},
        {51, " 49x", 50, 51},
    };
    host.Api().tradeEvents->OnAccountUpdate(100, L"", 1);
    const std::pair<int, std::string> queries[] = {
        {7, "POSITIONS"}, {32, "QUERYOPTCOMBORDER"}, {8, "QUERYOPTCOMBPOSITION"}};
    for (const auto& [kind, request] : queries) {
        for (const auto& page : pages) {
            host.Api().tradeEvents->OnAccountUpdate(kind, L"M", page.count);
            const std::string reply =
                Ask(request, R"(,"AccountMask":"M","QryIndex":")" + page.start + "\"");
            EXPECT_EQ(ValuesOf(reply, "QryIndex"), Numbers(page.first, page.last))
                << request << " " << page.count << " from " << page.start;
        }
        EXPECT_EQ(ValuesOf(Ask(request, R"(,"AccountMask":"other")"), "QryIndex"), Numbers(1, 0));
    }
}

TEST_F(Queries, RestoredReportsAndFillsComeInPages) {
    host.Api().queryReport = [](std::int32_t, const Text& id, ProbeItem& item) {
        item.ints[2] = 120; // reports in the list
        item.ints[39] = id == L"4#0" ? 2 : id == L"4#1" ? 0 : id == L"4#2" ? 3 : 0;
        return 1;
    };
    const auto pageOf = [this](const std::string& request, const std::string& start) {
        return ValuesOf(Ask(request, R"(,"QryIndex":")" + start + "\""), "QryIndex");
    };
    EXPECT_EQ(pageOf("RESTOREREPORT", "0"), Numbers(1, 50));
    EXPECT_EQ(pageOf("RESTOREREPORT", "100"), Numbers(101, 120));
    EXPECT_EQ(pageOf("RESTOREREPORT", "120"), Numbers(1, 0));
    EXPECT_EQ(pageOf("RESTOREFILLREPORT", "0"), Numbers(1, 5));
    EXPECT_EQ(pageOf("RESTOREFILLREPORT", "3"), Numbers(4, 5));
    EXPECT_EQ(pageOf("RESTOREFILLREPORT", "-7"), Numbers(1, 5));
    EXPECT_EQ(pageOf("RESTOREFILLREPORT", "5"), Numbers(1, 0));
    EXPECT_EQ(host.log.Count("INFO fill report count:5"), 4);
}

// The list grows while it is read: the count is asked for again.
TEST_F(Queries, ReportsThatComeInBetweenAreRestored) {
    for (const int count : {1, 2}) {
        host.Api().queryReport = [count](std::int32_t kind, const Text&, ProbeItem& item) {
            if (kind == kReports) item.ints[2] = count;
            return 1;
        };
        EXPECT_EQ(ValuesOf(Ask("RESTOREREPORT"), "QryIndex"), Numbers(1, count));
    }
}

TEST_F(Queries, RefusedRowsAreAskedForAgain) {
    auto& events = *host.Api().tradeEvents;
    events.OnAccountUpdate(100, L"", 1);
    for (const int kind : {7, 8, 9, 32})
        events.OnAccountUpdate(kind, L"", 3);
    for (const std::string request :
         {"MARGINS", "POSITIONS", "QUERYOPTCOMBORDER", "QUERYOPTCOMBPOSITION"}) {
        int refusals = 2;
        host.Api().dataItem = [&refusals](std::int32_t, std::int32_t index, ProbeItem&) {
            return index == 2 && --refusals >= 0 ? 0 : 1;
        };
        const std::uint32_t before = host.clock.TickCount();
        const std::string reply = Ask(request);
        EXPECT_EQ(ValuesOf(reply, "Account").size(), 3u) << request;
        EXPECT_EQ(host.clock.TickCount() - before, 200u) << request;
    }
    SetSetting(L"EndRetriesWithSession", L"1");
    host.Api().dataItem = [this](std::int32_t, std::int32_t, ProbeItem&) {
        CloseSession(*FromUtf8(key));
        return 0;
    };
    EXPECT_EQ(Ask("MARGINS"), Failure("MARGINS", "the Session is illegal"));
    key = host.LogIn();
    host.Api().dataItem = [](std::int32_t, std::int32_t index, ProbeItem&) { return index >= 0; };
    EXPECT_EQ(Ask("POSITIONS", R"(,"QryIndex":"-1")"),
              R"({"Reply":"POSITIONS","Success":"OK","Positions":[]})");
}

// What the platform is asked last counts: it may work out one thing from another.
TEST_F(Queries, ReadsComeInTheirOrder) {
    host.Api().tradeEvents->OnAccountUpdate(100, L"", 1);
    host.Api().tradeEvents->OnAccountUpdate(7, L"", 1);
    host.Api().queryReport = [](std::int32_t, const Text&, ProbeItem& item) {
        item.ints[2] = item.ints[39] = 1;
        return 1;
    };
    host.Api().noteReads = true;
    host.Api().TakeCalls();
    Ask("POSITIONS");
    const auto position = host.Api().TakeCalls();
    ASSERT_GT(position.size(), 100u);
    EXPECT_EQ(position[2], "read 13"); // the symbol, which the row begins from
    EXPECT_EQ(position[3], "read 4");
    EXPECT_EQ(position.end()[-2], "read 1PctTd$Gamma");
    EXPECT_EQ(position.back(), "instrument Instrument t13");
    Ask("RESTOREFILLREPORT");
    const auto fills = host.Api().TakeCalls();
    const auto created = std::ranges::find(fills, "create Ovaro.TradeFilledOrderItem.1");
    ASSERT_GT(fills.end() - created, 2);
    EXPECT_EQ(created[1], "read 3#0");
    EXPECT_EQ(created[2], "report 0 3#0");
}

TEST_F(Queries, WhatCannotBeCreatedIsAnsweredAndLogged) {
    const struct {
        std::string request;
        ItemClass itemClass;
    } cases[] = {
        {"ACCOUNTS", ItemClass::Account},
        {"MARGINS", ItemClass::Margin},
        {"POSITIONS", ItemClass::Position},
        {"QUERYOPTCOMBORDER", ItemClass::CombinationOrder},
        {"RESTOREREPORT", ItemClass::ReportList},
        {"RESTOREREPORT", ItemClass::ExecutionReport},
        {"RESTOREFILLREPORT", ItemClass::Fill},
        {"POSITIONTRACKER", ItemClass::PositionTracker},
        {"NEWORDER", ItemClass::StockOrder},
        {"NEWORDER", ItemClass::FutOptOrder},
        {"REPLACEORDER", ItemClass::ReplaceOrder},
    };
    host.Api().tradeEvents->OnAccountUpdate(100, L"", 1);
    host.Api().queryReport = [](std::int32_t, const Text&, ProbeItem& item) {
        item.ints[2] = item.ints[39] = 1;
        return 1;
    };
    for (const auto& [request, itemClass] : cases) {
        host.Api().uncreatable = {itemClass};
        const std::string symbol = itemClass == ItemClass::FutOptOrder ? "OV.F.X.A" : "OV.S.X.A";
        EXPECT_EQ(Ask(request, R"(,"Param":{"Symbol":")" + symbol + "\"}"),
                  Failure(request, "Initial failed"));
        const std::string fatal =
            "FATAL [RepWorker]create " + ToUtf8(ProgIdOf(itemClass)) + " failed";
        EXPECT_EQ(host.log.Count(fatal), 1) << fatal;
    }
}

TEST_F(Queries, TheReadyWaitIsAtMostTwentySeconds) {
    const std::uint32_t start = host.clock.TickCount();
    EXPECT_EQ(Ask("MARGINS"), R"({"Reply":"MARGINS","Success":"OK","Margins":[]})");
    EXPECT_EQ(host.clock.TickCount() - start, 20000u);
    host.Api().tradeEvents->OnAccountUpdate(100, L"", -200);
    host.AskText(R"({"Request":"POSITIONS","SessionKey":"unknown"})"); // the wait comes first
    EXPECT_EQ(host.clock.TickCount() - start, 40000u);
    SetSetting(L"RefuseUnknownFirst", L"1");
    host.AskText(R"({"Request":"POSITIONS","SessionKey":"unknown"})");
    EXPECT_EQ(host.clock.TickCount() - start, 40000u);
    host.Api().tradeEvents->OnAccountUpdate(100, L"", 0);
    EXPECT_EQ(Ask("POSITIONS"), R"({"Reply":"POSITIONS","Success":"OK","Positions":[]})");
    EXPECT_EQ(host.clock.TickCount() - start, 40000u);
}

TEST_F(Queries, CombinedSymbolsBecomeTwo) {
    auto& events = *host.Api().tradeEvents;
    events.OnAccountUpdate(100, L"", 1);
    events.OnAccountUpdate(7, L"", 1);
    host.Api().instrumentData[L"Instrument OV.F.X.ABC.202406&OV.O.X.P100"] = L"both";
    host.Api().dataItem = [](std::int32_t, std::int32_t, ProbeItem& item) {
        item.texts[13] = L"OV.FO.X.ABC.202406^P100";
        return 1;
    };
    const std::string reply = Ask("POSITIONS");
    EXPECT_EQ(ValuesOf(reply, "Symbol"), std::vector<std::string>{"OV.F.X.ABC.202406&OV.O.X.P100"});
    EXPECT_EQ(ValuesOf(reply, "Instrument"), std::vector<std::string>{"both"});
}

TEST_F(Queries, TrackerFigures) {
    const std::string all = Ask("POSITIONTRACKER");
    EXPECT_EQ(ValuesOf(all, "Symbol"),
              (std::vector<std::string>{"OV.O.X.A", "OV.F.X.B", "OV.F.X.C"}));
    EXPECT_EQ(ValuesOf(all, "SubKey"), (std::vector<std::string>{"K1", "K2", "K2"}));
    const std::string one = Ask("POSITIONTRACKER", R"(,"AccountMask":"F001-12345","Symbol":"no")");
    EXPECT_EQ(one, R"({"Reply":"POSITIONTRACKER","Success":"OK","Data":[)" + GoldenJson("tracker") +
                       "]}");
    EXPECT_EQ(Ask("POSITIONTRACKER", R"(,"AccountMask":"F001")"),
              R"({"Reply":"POSITIONTRACKER","Success":"OK","Data":[]})");
    // Of unknown figures nothing is written but the sums, which do not look.
    host.Api().missingValues = true;
    const std::regex figure(
        R"re(("(?!Reply|Success|BrokerID|Account|Symbol|SubKey)[^"]*"):"[^"]*")re");
    const std::regex sum(R"re("(TotalFill|TotalPosition|NetPosition|YdNetPosition)":")re");
    EXPECT_EQ(Ask("POSITIONTRACKER", R"(,"AccountMask":"F001-12345")"),
              std::regex_replace(std::regex_replace(one, figure, R"($1:"")"), sum, "$&0"));
}

class Instruments : public Queries {
  protected:
    Instruments()
        : Queries(
              {L"scripted", OwnSystemName(), L"demo-key", L"Fut:F,Opt,../x:P,Old:O,New:O", L""}) {}

    void SetUp() override {
        Queries::SetUp();
        std::filesystem::create_directories(folder.Path() / "Configs");
        std::filesystem::create_directories(folder.Path() / "ComShared");
        host.Api().platformValues[L"ModulePath"] = FromPath(folder.Path() / "");
    }

    void Write(const std::string& name, const std::string& bytes) {
        std::ofstream(folder.Path() / name, std::ios::binary) << bytes;
    }

    std::string List(const std::string& type, const std::string& dateTime = "") {
        return Ask("QUERYALLINSTRUMENT",
                   R"(,"Type":")" + type + R"(","DateTime":")" + dateTime + "\"");
    }

    static std::string Utf16(const std::string& ascii) {
        std::string bytes = "\xFF\xFE";
        for (const char letter : ascii)
            bytes += {letter, '\0'};
        return bytes;
    }

    TempFolder folder;
    const std::string prefix = R"({"Reply":"QUERYALLINSTRUMENT","Success":"OK","Instruments":)";
};

TEST_F(Instruments, BothEncodingsGiveTheSame) {
    const std::string text =
        "{\"a\":[\"I.O.A\",\"I.F.B\",\r\n\"I.S.C\",\"I.X\"],\n\n\"b\":\"x\r\ny\"}\r\n";
    const std::string reply = prefix + R"({"a":["OV.O.A","OV.F.B","OV.S.C","I.X"],"b":"xy"}})";
    Write("Configs/ContractList_Fut.ini", text);
    Write("Configs/ContractList_Opt.ini", Utf16(text));
    EXPECT_EQ(List("F"), reply);
    EXPECT_EQ(List("Opt"), reply);
    host.log.WaitFor("INFO QUERYALLINSTRUMENT sent");                  // after the reply
    EXPECT_EQ(host.log.Count("INFO [RepWorker]SendData:" + reply), 0); // too large to log
    Write("Configs/ContractList_Fut.ini", "[\"\xE9\"]"); // not UTF-8: a character for each byte
    EXPECT_EQ(List("F"), prefix + "[\"\xC3\xA9\"]}");
}

TEST_F(Instruments, Failures) {
    EXPECT_EQ(List("nobody"), Failure("QUERYALLINSTRUMENT", "ContractName failed"));
    EXPECT_EQ(List("nobody", "20240105"), Failure("QUERYALLINSTRUMENT", "ContractName failed"));
    EXPECT_EQ(List("P"), Failure("QUERYALLINSTRUMENT", "ContractName failed")); // alias is a path
    EXPECT_EQ(host.log.Count("ERROR ReqGetContractList Alias is empty"), 3);
    EXPECT_EQ(List("F"), Failure("QUERYALLINSTRUMENT", "open file fail"));
    for (const std::string& text :
         {std::string("{\"a\":"), std::string(), std::string(5000, '[')}) {
        Write("Configs/ContractList_Fut.ini", text);
        EXPECT_EQ(List("F"), Failure("QUERYALLINSTRUMENT", "parse failed"));
    }
    EXPECT_EQ(host.log.Count("ERROR ReqGetContractList parse failed. Data:{\"a\":"), 1);
    Write("Configs/ContractList_New.ini", "[]"); // the later of two aliases for one type
    EXPECT_EQ(List("O"), prefix + "[]}");
}

TEST_F(Instruments, Enrichment) {
    const std::string list =
        R"({"Node":[{"Contracts":["OV.O.X.NONE","OV.O.X.A","OV.O.X.B"]},{"Contracts":["OV.F.X.A","OV.S.X.S"]},)"
        R"({"x":1},{"Node":[{"Contracts":["OV.F.X.A","OV.F.X.NONE"]},{"Node":7},{"Contracts":["OV.F.X.Z"]}]},)"
        R"({"Contracts":["OV.F.X.Z"]}]})";
    Write("Configs/ContractList_Fut.ini", list);
    EXPECT_EQ(List("F"), prefix + list + "}");
    Write("ComShared/CustomSetting.ini", "[Vantor]\nMARDVANT=1\n");
    host.Api().instrumentData[L"Instrument OV.O.X.A"] = L"iA";
    EXPECT_EQ(
        List("F"),
        prefix +
            R"({"Node":[{"Contracts":["OV.O.X.NONE","OV.O.X.A","OV.O.X.B"],"InstrumentID":["iA"],)"
            R"("ExpirationDate":["20261216","20261216"],"TradeingDays":["0","17","17"]},)"
            R"({"Contracts":["OV.F.X.A","OV.S.X.S"]},{"x":1},)"
            R"({"Node":[{"Contracts":["OV.F.X.A","OV.F.X.NONE"],"InstrumentID":[],)"
            R"("ExpirationDate":["20261216"],"TradeingDays":["17","0"]},{"Node":7},)"
            R"({"Contracts":["OV.F.X.Z"]}]},{"Contracts":["OV.F.X.Z"]}]}})");
}

TEST_F(Instruments, PastListsAreRecovered) {
    const Text path = FromPath(folder.Path() / "past.ini");
    Write("past.ini", R"(["I.F.A"])");
    host.Api().onTopicCommand = [this, path] {
        host.Api().tradeEvents->OnSetTopic(L"VANTOR.RETURN", 20240105, L"Fut", path);
    };
    host.Api().TakeCalls();
    const std::uint32_t start = host.clock.TickCount();
    EXPECT_EQ(List("F", "20240105"), prefix + R"(["OV.F.A"]})");
    EXPECT_EQ(host.clock.TickCount(), start);
    EXPECT_EQ(host.Api().TakeCalls(),
              std::vector<std::string>{"topic VANTOR.RECOVER 20240105 Fut -"});
    // A time of day is cut off for the platform, but not in the name that is waited for.
    EXPECT_EQ(List("F", "20240105093000"), Failure("QUERYALLINSTRUMENT", "open file fail"));
    EXPECT_EQ(host.Api().TakeCalls(),
              std::vector<std::string>{"topic VANTOR.RECOVER 20240105 Fut -"});
    EXPECT_EQ(host.clock.TickCount() - start, 30000u);
    // No answer: what an earlier one has left behind counts.
    host.Api().onTopicCommand = nullptr;
    EXPECT_EQ(List("F", "20240105"), prefix + R"(["OV.F.A"]})");
    EXPECT_EQ(host.clock.TickCount() - start, 60000u);
    EXPECT_EQ(List("F", "20240106"), Failure("QUERYALLINSTRUMENT", "open file fail"));
    host.Api().TakeCalls();
    List("F", "12345678901000000"); // beyond 32 bits, which the platform takes
    EXPECT_EQ(host.Api().TakeCalls(),
              std::vector<std::string>{"topic VANTOR.RECOVER -539222987 Fut -"});
    const std::string line = "strEventKey:Fut_12345678901000000, llDate:12345678901";
    EXPECT_EQ(host.log.Count("INFO ReqGetContractList() " + line), 1);
}

// The wait for the trade data comes before the look at the session, that for a past list after it.
TEST_F(Instruments, ALogOutComesInBetween) {
    const struct {
        std::string request, members, reason;
    } waits[] = {
        {"MARGINS", "", "the Session is illegal"},
        {"QUERYALLINSTRUMENT", R"(,"Type":"F","DateTime":"20240105")", "open file fail"},
    };
    for (const auto& [request, members, reason] : waits) {
        key = host.LogIn();
        host.clock.MoveByItself(0);
        const int sleeps = host.clock.Sleeps();
        auto reply = std::async(std::launch::async, [&, &request = request, &members = members] {
            return Ask(request, members);
        });
        host.clock.WaitForSleeps(sleeps + 1);
        EXPECT_EQ(Ask("LOGOUT"), R"({"Reply":"LOGOUT","Success":"OK"})");
        EXPECT_EQ(Ask("PONG"), Failure("PONG", "the Session is illegal"));
        host.clock.MoveByItself(2000);
        host.clock.Advance(100);
        EXPECT_EQ(reply.get(), Failure(request, reason));
    }
}

TEST_F(Instruments, Details) {
    host.Api().instrumentData[L"ALL OV.F.X.A"] = LR"({"a":1.5,"b":["x"]})";
    host.Api().instrumentData[L"ALL OV.F.X.B"] = L"no json";
    const auto ask = [this](const std::string& symbol) {
        return Ask("QUERYINSTRUMENTINFO", R"(,"Symbol":")" + symbol + "\"");
    };
    EXPECT_EQ(ask("OV.F.X.A"),
              R"({"Reply":"QUERYINSTRUMENTINFO","Success":"OK","Info":{"a":1.5,"b":["x"]}})");
    EXPECT_EQ(ask("OV.F.X.B"), Failure("QUERYINSTRUMENTINFO", "parse failed"));
    EXPECT_EQ(ask(""), Failure("QUERYINSTRUMENTINFO", "ContractName failed"));
    EXPECT_EQ(host.log.Count("ERROR ReqGetInstrumentInfo parse failed. Data:no json"), 1);
}

} // namespace
} // namespace halvane
