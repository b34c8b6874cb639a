#include "access/Clients.h"
#include "access/Rights.h"
#include "foundation/support/Utf.h"

#include <gtest/gtest.h>

namespace halvane {
namespace {

AccessClient Scoped() {
    AccessClient client;
    client.readOnly = false;
    client.accounts = {L"B-1"};
    return client;
}

std::string Own(const std::string& type, const std::string& id) {
    return R"({"DataType":")" + type + R"(","Report":{"ReportID":")" + id +
           R"(","BrokerID":"B","Account":"1"}})";
}

TEST(Rights, OfPublicationsAClientSeesItsOwnAndWhatConcernsAll) {
    const struct {
        std::string published;
        std::string seen; // "" when it is not
    } cases[] = {
        {R"({"DataType":"PING"})", R"({"DataType":"PING"})"},
        {R"({"DataType":"SYMBOLCLEAR","Data":{}})", R"({"DataType":"SYMBOLCLEAR","Data":{}})"},
        {Own("EXECUTIONREPORT", "R1"), Own("EXECUTIONREPORT", "R1")},
        {Own("FILLEDREPORT", "F1"), Own("FILLEDREPORT", "F1")},
        {Own("COMBINATIONREPORT", "C1"), ""},
        {R"({"DataType":"EXECUTIONREPORT","Report":{"BrokerID":"B","Account":"2"}})", ""},
        {R"({"DataType":"EXECUTIONREPORT","Report":{"BrokerID":"C","Account":"1"}})", ""},
        {R"({"DataType":"EXECUTIONREPORT"})", ""},
        {R"({"DataType":"ACCOUNTS","Accounts":[{"BrokerID":"B","Account":"2"},)"
         R"({"BrokerID":"B","Account":"1"},{"Account":"1"}]})",
         R"({"DataType":"ACCOUNTS","Accounts":[{"BrokerID":"B","Account":"1"}]})"},
        {R"({"DataType":"ACCOUNTS","Accounts":{}})", ""},
        {R"({"DataType":"ACCOUNTS"})", ""},
        {R"({"DataType":"CorvintaSignal","Data":{"BrokerID":"B","Account":"1"}})", ""},
        {"[]", ""},
    };
    ShownReports shown;
    for (const auto& [published, seen] : cases) {
        JsonDocument document;
        ASSERT_TRUE(ParseJson(published, document));
        const bool kept = KeepOwnPublication(Scoped(), document, shown);
        EXPECT_EQ(kept ? ToUtf8(WriteJson(document)) : "", seen) << published;
    }
    EXPECT_EQ(shown, ShownReports({L"R1"})) << "what it may cancel";
    JsonDocument reset;
    ASSERT_TRUE(ParseJson(R"({"DataType":"REPORTRESET"})", reset));
    EXPECT_TRUE(KeepOwnPublication(Scoped(), reset, shown));
    EXPECT_TRUE(shown.empty()) << "there the platform begins with its numbers anew";
}

TEST(Rights, OrdersStayInTheirAccount) {
    const struct {
        std::string request, members;
        bool passes;
    } cases[] = {
        {"NEWORDER", R"("GroupType":"0","GroupID":"")", true},
        {"NEWORDER", R"("GroupID":"g")", false},
        {"NEWORDER", R"("Symbol":"OV.O2.X.A&B")", true},
        {"NEWORDER", R"("Symbol":"A&B&C")", false},
        {"NEWORDER", R"("Symbol":"A;ACCOUNT=2")", false},
        {"OPTCOMB", R"("Volume":"1=2")", false},
        {"CANCELORDER", R"("ReportID":"R1")", true},
        {"CANCELORDER", R"("ReportID":"R2")", false},
        {"CANCELORDER", R"("ReportID":"R1","ExtCommands":"x")", false},
    };
    for (const auto& [request, members, passes] : cases) {
        JsonDocument document;
        ASSERT_TRUE(ParseJson(R"({"Request":")" + request +
                                  R"(","Param":{"BrokerID":"B","Account":"1",)" + members + "}}",
                              document));
        EXPECT_EQ(RefusalOf(Scoped(), document, {L"R1"}).empty(), passes) << request << members;
    }
}

} // namespace
} // namespace halvane
