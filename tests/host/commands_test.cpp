#include "tests/host/TestHost.h"

#include "foundation/support/Process.h"

#include <gtest/gtest.h>

namespace halvane {
namespace {

// Requests that hand a text or a few values on to the platform.
class Commands : public HostTest {
  protected:
    std::string Send(const std::string& request, const std::string& param) {
        host.Api().TakeCalls();
        return Ask(request, R"(,"Param":)" + param);
    }

    void ExpectCommand(const std::string& param, const std::string& command,
                       const std::string& accountKey = "") {
        EXPECT_EQ(Send("OPTCOMB", param), R"({"Reply":"OPTCOMB","Success":"OK"})");
        EXPECT_EQ(host.Api().TakeCalls(),
                  std::vector<std::string>{"request 1 OPTCOMB " + command + " 1 " + accountKey});
    }
};

TEST_F(Commands, ReplacementsTakeNumbers) {
    const struct {
        std::string members;
        std::vector<std::string> prices;
    } cases[] = {
        {R"("Price":"101.25","StopPrice":"7")",
         {"put 4 int64 1012500000000", "put 5 int64 70000000000"}},
        {R"("Price":"","StopPrice":"-1")", {}},
        {R"("Price":"0.41")", {"put 4 int64 4099999999"}},
        {R"("Price":101.25,"StopPrice":"B+5")", {}},
    };
    for (const auto& [members, prices] : cases) {
        EXPECT_EQ(
            Send("REPLACEORDER",
                 R"({"ReportID":"R\u00e9","ReplaceExecType":"2","OrderQty":"5",)" + members + "}"),
            "{\"Reply\":\"REPLACEORDER\",\"ReportID\":\"R\xC3\xA9\",\"Success\":\"OK\"}");
        std::vector<std::string> calls{"create Ovaro.TradeReplaceOrderParameters.1",
                                       "put 1 string R\xC3\xA9", "put 2 int 2", "put 3 int 5"};
        calls.insert(calls.end(), prices.begin(), prices.end());
        calls.emplace_back("replace ");
        EXPECT_EQ(host.Api().TakeCalls(), calls) << members;
    }
}

TEST_F(Commands, CancellationsTakeTwoTexts) {
    EXPECT_EQ(Send("CANCELORDER", R"({"ReportID":"R1","Key":"K"})"),
              R"({"Reply":"CANCELORDER","ReportID":"R1","Success":"OK"})");
    EXPECT_EQ(host.Api().TakeCalls(), std::vector<std::string>{"cancel R1 K"});
    Send("CANCELORDER", R"({"ReportID":"R1"})");
    EXPECT_EQ(host.Api().TakeCalls(), std::vector<std::string>{"cancel R1 "});
}

TEST_F(Commands, StrategyOrdersPassThroughWithAStamp) {
    const std::string stamp = R"("UserKey3":"demo-key|Halvane","ProcessID":")" +
                              std::to_string(CurrentProcessId()) + "\"}";
    const struct {
        std::string param;
        std::string forwarded;
    } cases[] = {
        {R"({"StrategyType":"S","n":1,"a":[true,null,{"b":""}]})",
         R"({"StrategyType":"S","n":1,"a":[true,null,{"b":""}],)"},
        // The last member takes the removed one's place; none of several gets through.
        {R"({"UserKey3":"mine","StrategyType":"S","z":"last"})",
         R"({"z":"last","StrategyType":"S",)"},
        {R"({"UserKey3":1,"StrategyType":"S","UserKey3":[2],"UserKey3":"x"})",
         R"({"StrategyType":"S",)"},
        {R"({"StrategyType":"S","i":9223372036854775807,"u":18446744073709551615,"j":-9223372036854775808})",
         R"({"StrategyType":"S","i":9223372036854775807,"u":18446744073709551615,"j":-9223372036854775808,)"},
        {R"({"StrategyType":"S","d":[0.1,123.456,1e-7,2.5e300,0.30000000000000004,-0.0,3.0,1e22,12345678901234568.0]})",
         R"({"StrategyType":"S","d":[0.1,123.456,1e-7,2.5e300,0.30000000000000004,-0.0,3.0,1e22,12345678901234568.0],)"},
        {R"({"StrategyType":"\u0000"})", R"({"StrategyType":"\u0000",)"},
    };
    for (const auto& [param, forwarded] : cases) {
        EXPECT_EQ(Send("NEWSTRATEGYORDER", param),
                  R"({"Reply":"NEWSTRATEGYORDER","Success":"OK"})");
        EXPECT_EQ(host.Api().TakeCalls(),
                  std::vector<std::string>{"strategy " + forwarded + stamp});
    }
    for (const std::string param : {"{}", R"({"StrategyType":""})", R"({"StrategyType":7})"}) {
        EXPECT_EQ(Send("NEWSTRATEGYORDER", param),
                  Failure("NEWSTRATEGYORDER", "StrategyType is error!!"));
    }
}

TEST_F(Commands, CombiningWorksOutBothSides) {
    const struct {
        std::string type, side, sideA, sideB, callSideB;
    } cases[] = {
        {"0", "1", "1", "", ""},    {"1", "1", "1", "2", "2"},  {"2", "2", "2", "2", "2"},
        {"3", "x", "2", "2", "2"},  {"4", "1", "1", "2", "2"},  {"5", "1", "1", "2", "2"},
        {"6", "1", "1", "2", "2"},  {"7", "1", "1", "", ""},    {"8", "1", "1", "", ""},
        {"9", "1", "1", "2", "2"},  {"10", "2", "2", "1", "1"}, {"11", "1", "1", "2", "2"},
        {"12", "1", "1", "2", "1"}, {"13", "1", "1", "1", "2"}, {"14", "2", "2", "1", "1"},
        {"15", "1", "1", "1", "1"}, {"16", "1", "1", "", ""},   {"", "1", "1", "", ""},
    };
    for (const auto& test : cases) {
        for (const std::string leg : {"OV.O.X.A.P.1", "OV.O.X.A.C.1"}) {
            ExpectCommand(R"({"CombDirection":"1","Symbol":")" + leg + R"(&OV.O.X.B","Side":")" +
                              test.side + R"(","CombinationType":")" + test.type +
                              R"(","Volume":"3","OptCombID":"id","BrokerID":"F1","Account":"9"})",
                          "SYMBOLA=" + leg + "&SYMBOLB=OV.O.X.B&VOLUME=3&ACTIONTYPE=1&SIDEA=" +
                              test.sideA + "&SIDEB=" +
                              (leg.find(".C.") == std::string::npos ? test.sideB : test.callSideB) +
                              "&OPTCOMB_CODE=" + test.type + "&OPTCOMB_ID=id",
                          "F1-9");
        }
    }
    ExpectCommand(
        R"({"CombDirection":"1","Symbol":"&B","Side":"1","CombinationType":"9","BrokerID":"F1"})",
        "SYMBOLA=&SYMBOLB=B&VOLUME=&ACTIONTYPE=1&SIDEA=&SIDEB=&OPTCOMB_CODE=9&OPTCOMB_ID=");
}

TEST_F(Commands, SplittingNamesTheSpread) {
    ExpectCommand(
        R"({"CombDirection":"2","Symbol":"OV.O.X.A&OV.O.X.B","Side":"2","CombinationType":"3",)"
        R"("Volume":"1","OptCombID":"7"})",
        "SYMBOL=OV.O2.X.A^B&VOLUME=1&ACTIONTYPE=2&SIDE=2&OPTCOMB_CODE=3&OPTCOMB_ID=7");
    ExpectCommand(R"({"CombDirection":"2","Symbol":"OV.O.X.A"})",
                  "SYMBOL=&VOLUME=&ACTIONTYPE=2&SIDE=&OPTCOMB_CODE=&OPTCOMB_ID=");
    ExpectCommand(R"({"CombDirection":"3","Symbol":"OV.O.X.A&OV.O.X.B"})", "");
}

TEST_F(Commands, MessagesGoToLineOnly) {
    const std::string done = R"({"Reply":"SENDMESSAGE","Success":"OK"})";
    EXPECT_EQ(Send("SENDMESSAGE", R"({"System":"line","LineID":"me","Message":"100% %s"})"), done);
    EXPECT_EQ(host.Api().TakeCalls(), std::vector<std::string>{"topic MSG2LINE.UD 1 me 100% %s"});
    EXPECT_EQ(Send("SENDMESSAGE", R"({"System":"MAIL","LineID":"me","Message":"x"})"), done);
    EXPECT_TRUE(host.Api().TakeCalls().empty());
}

} // namespace
} // namespace halvane
