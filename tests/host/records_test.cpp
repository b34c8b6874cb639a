#include "tests/Golden.h"
#include "tests/host/TestHost.h"

#include <gtest/gtest.h>

namespace halvane {
namespace {

// Every record in every form, member by member, with values and with the marks of missing ones.
class Records : public HostTest, public testing::WithParamInterface<bool> {
  protected:
    void SetUp() override {
        HostTest::SetUp();
        host.Api().missingValues = GetParam();
    }

    void ExpectRows(const std::string& request, const std::string& array, const std::string& row) {
        EXPECT_EQ(Ask(request, R"(,"AccountMask":"F001-1")"), R"({"Reply":")" + request +
                                                                  R"(","Success":"OK",")" + array +
                                                                  "\":[" + row + "]}");
    }
};

TEST_P(Records, Published) {
    host.Api().tradeEvents->OnExecutionReport(L"R1");
    EXPECT_EQ(host.NextPublication("EXECUTIONREPORT"),
              R"({"DataType":"EXECUTIONREPORT","Report":)" +
                  GoldenJson("execution_report", {.missing = GetParam()}) + "}");
    host.Api().tradeEvents->OnFilledReport(L"F1");
    EXPECT_EQ(host.NextPublication("FILLEDREPORT"),
              R"({"DataType":"FILLEDREPORT","Report":)" +
                  GoldenJson("fill_report", {.missing = GetParam()}) + "}");
    host.Api().tradeEvents->OnAccountUpdate(1, L"", 1);
    EXPECT_EQ(host.NextPublication("ACCOUNTS"), R"({"DataType":"ACCOUNTS","Accounts":[)" +
                                                    GoldenJson("account", {.missing = GetParam()}) +
                                                    "]}");
}

TEST_P(Records, Restored) {
    host.Api().queryReport = [](std::int32_t kind, const Text&, ProbeItem& item) {
        item.ints[2] = 1; // one report in the list
        if (kind == 0 && !GetParam()) item.ints[39] = 1039;
        return 1;
    };
    EXPECT_EQ(Ask("RESTOREREPORT"),
              R"({"Reply":"RESTOREREPORT","Success":"OK","Orders":[)" +
                  GoldenJson("execution_report", {.missing = GetParam(), .restored = true}) + "]}");
    host.Api().queryReport = [](std::int32_t, const Text&, ProbeItem& item) {
        item.ints[2] = item.ints[39] = 1;
        return 1;
    };
    EXPECT_EQ(Ask("RESTOREFILLREPORT"),
              R"({"Reply":"RESTOREFILLREPORT","Success":"OK","Orders":[)" +
                  GoldenJson("fill_report", {.missing = GetParam(), .restored = true}) + "]}");
}

TEST_P(Records, Queried) {
    auto& events = *host.Api().tradeEvents;
    for (const std::int32_t kind : {7, 8, 9, 32})
        events.OnAccountUpdate(kind, L"F001-1", 1);
    events.OnAccountUpdate(1, L"", 1);
    events.OnAccountUpdate(100, L"", 1);
    host.Api().instrumentData[GetParam() ? L"Instrument " : L"Instrument t13"] = L"INSTRUMENT";
    ExpectRows("ACCOUNTS", "Accounts",
               GoldenJson("account", {.missing = GetParam(), .restored = true}));
    ExpectRows("MARGINS", "Margins", GoldenJson("margin", {.missing = GetParam()}));
    ExpectRows("POSITIONS", "Positions", GoldenJson("position", {.missing = GetParam()}));
    ExpectRows("QUERYOPTCOMBORDER", "Orders",
               GoldenJson("combination_order", {.missing = GetParam()}));
    ExpectRows("QUERYOPTCOMBPOSITION", "Positions",
               GoldenJson("detail_position", {.missing = GetParam()}));
}

INSTANTIATE_TEST_SUITE_P(ValuesAndMarks, Records, testing::Bool(),
                         [](const auto& run) { return run.param ? "Marks" : "Values"; });

} // namespace
} // namespace halvane
