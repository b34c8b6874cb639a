#include "tests/Golden.h"
#include "tests/host/TestHost.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace halvane {
namespace {

class Orders : public HostTest {
  protected:
    // The value that was put under the id, with its type; "" when none was.
    static std::string PutOf(const std::vector<std::string>& calls, const std::string& id) {
        std::string last;
        for (const std::string& call : calls) {
            const std::string start = "put " + id + " ";
            if (call.starts_with(start)) last = call.substr(start.size());
        }
        return last;
    }
};

// Every member with a value of its own: each put in its order, with its type, id and value.
TEST_F(Orders, EveryMemberIsPutInItsOrder) {
    const struct {
        std::string golden;
        std::string progId;
        std::string symbol;
        std::string kind;
    } orders[] = {
        {"stock_order", "Ovaro.TradeNewOrderParametersStock.1", "OV.S.X.A", "8"},
        {"futopt_order", "Ovaro.TradeNewOrderParametersFutOpt.1", "OV.F.X.A", "9"},
    };
    for (const auto& order : orders) {
        std::string param;
        std::vector<std::string> expected{"create " + order.progId};
        int number = 1000;
        for (const auto& [id, what] : ReadGolden(order.golden)) {
            const std::string type = what.substr(0, what.find(' '));
            const std::string member = what.substr(what.find(' ') + 1);
            std::string sent =
                type == "int64" ? "50000000" + std::to_string(++number) : std::to_string(++number);
            std::string put = sent;
            const bool price = member.ends_with("Price") || member.starts_with("Breakeven");
            if (type == "string" && price && member != "ChasePrice") put += "0000000000";
            if (member == "ChasePrice") put = "12000000000|" + sent, sent = "1.2|" + sent;
            if (member == "Symbol") put = sent = order.symbol;
            if (member == "UserKey2") put = "UK#2=" + sent;
            if (member == "Source") put = "Halvane";
            if (member != "Source")
                param += (param.empty() ? "\"" : ",\"") + member + "\":\"" + sent + "\"";
            expected.push_back("put " + id + " " + type + " " + put);
        }
        expected.push_back("order " + order.kind);
        host.Api().TakeCalls();
        EXPECT_EQ(Send("NEWORDER", param), R"({"Reply":"NEWORDER","Success":"OK"})");
        EXPECT_EQ(host.Api().TakeCalls(), expected);
    }
}

TEST_F(Orders, MissingAndUnfitMembersReadAsEmptyOrZero) {
    host.Api().TakeCalls();
    Send("NEWORDER",
         R"("Symbol":"OV.S.X.A","Side":1,"OrderQty":"7 lots","Price":null,"TimeInForce":" -3x")");
    const auto calls = host.Api().TakeCalls();
    EXPECT_EQ(PutOf(calls, "2"), "string ");
    EXPECT_EQ(PutOf(calls, "7"), "int 0");
    EXPECT_EQ(PutOf(calls, "11"), "int 7");
    EXPECT_EQ(PutOf(calls, "6"), "string ");
    EXPECT_EQ(PutOf(calls, "9"), "int -3");
    EXPECT_EQ(PutOf(calls, "29"), ""); // an empty chase price is not put at all
}

TEST_F(Orders, OrderTypeResetsPricesBeforeItIsPut) {
    const struct {
        std::string symbol, type, priceId, stopId, typeId;
        std::vector<std::string> resets;
    } cases[] = {
        {"OV.S.X.A", "1", "6", "8", "10", {"put 6 string 0", "put 8 string 0"}},
        {"OV.S.X.A", "3", "6", "8", "10", {"put 6 string 0"}},
        {"OV.S.X.A", "2", "6", "8", "10", {}},
        {"OV.O.X.A", "1", "4", "7", "9", {"put 4 string 0", "put 7 string 0"}},
        {"OV.O.X.A", "3", "4", "7", "9", {"put 4 string 0"}},
    };
    for (const auto& test : cases) {
        host.Api().TakeCalls();
        Send("NEWORDER", R"("Symbol":")" + test.symbol + R"(","OrderType":")" + test.type +
                             R"(","Price":"50","StopPrice":"49.5","TouchPrice":"1")");
        const auto calls = host.Api().TakeCalls();
        const auto at = [&calls](const std::string& call) {
            return std::ranges::find(calls, call) - calls.begin();
        };
        EXPECT_LT(at("put " + test.stopId + " string 495000000000"), std::ssize(calls));
        std::vector<std::string> resets;
        for (const std::string& call : calls) {
            if (call.ends_with(" string 0")) resets.push_back(call);
        }
        EXPECT_EQ(resets, test.resets);
        const auto type = at("put " + test.typeId + " int " + test.type);
        ASSERT_LT(type, std::ssize(calls));
        for (const std::string& reset : test.resets)
            EXPECT_LT(at(reset), type);
    }
}

// The platform's word on the whole order counts, not that on a single property.
TEST_F(Orders, RefusedPutsAreLoggedAndTheNextFollow) {
    const struct {
        std::string request, symbol, name, last, reply;
        int puts;
    } orders[] = {
        {"NEWORDER", "OV.S.X.A", "NEWORDER 8", "order 8", R"("Success":"OK"})", 27},
        {"NEWORDER", "OV.F.X.A", "NEWORDER 9", "order 9", R"("Success":"OK"})", 57},
        {"REPLACEORDER", "", "REPLACEORDER", "replace ", R"("ReportID":"","Success":"OK"})", 5},
    };
    host.Api().throwing = {"put"};
    for (const auto& order : orders) {
        host.Api().TakeCalls();
        const std::string param =
            R"(","OrderType":"1","ChasePrice":"1","Price":"1","StopPrice":"1")";
        EXPECT_EQ(Send(order.request, R"("Symbol":")" + order.symbol + param),
                  R"({"Reply":")" + order.request + "\"," + order.reply);
        const auto calls = host.Api().TakeCalls();
        EXPECT_EQ(std::ssize(calls), order.puts + 2); // created, put, sent
        EXPECT_EQ(calls.back(), order.last);
        const std::string warning = "WARN [RepWorker]" + order.name + ": put of property ";
        EXPECT_EQ(host.log.Count(warning + "1 refused: the platform is out of order"), 1);
        const auto lines = host.log.Lines();
        const auto warns = [&](const std::string& line) { return line.starts_with(warning); };
        EXPECT_EQ(std::ranges::count_if(lines, warns), order.puts);
    }
}

TEST_F(Orders, UserKeysArePacked) {
    const struct {
        std::string members;
        std::string second;
    } cases[] = {
        {R"("UserKey2":"A","UserKey7":"B")", "UK#2=A;UK#7=B"},
        {R"("UserKey3":"x")", "UK#3=x"},
        {R"("UserKey4":4)", ""},
        {R"("UserKey100":"","UserKey101":"no","UserKey1":"one")", "UK#100="},
        {R"("UserKey2":"A","UserKey07":"7")", "UK#2=A"},
    };
    for (const auto& [members, second] : cases) {
        host.Api().TakeCalls();
        Send("NEWORDER", R"("Symbol":"OV.S.X.A",)" + members);
        EXPECT_EQ(PutOf(host.Api().TakeCalls(), "15"), "string " + second) << members;
    }
}

TEST_F(Orders, SwitchesTravelInExtCommands) {
    const struct {
        std::string members;
        std::string commands;
    } cases[] = {
        {R"("ExtCommands":"A=1;","FlowControl":"2")", "A=1;FlowControl=2"},
        {R"("ExtCommands":"","SelfTradePrevention":"1","FitOrderFreq":"3")",
         "SelfTradePrevention=1;FitOrderFreq=3"},
        {R"("ExtCommands":"FlowControl=9","FlowControl":"2")", "FlowControl=9"},
        {R"("ExtCommands":";;","DelayTransPosition":"1")", "DelayTransPosition=1"},
        {R"("ExtCommands":"A=1;;")", "A=1;;"},
        {R"("ExtCommands":"FlowControl=9;;","FlowControl":"2","FitOrderFreq":"1")",
         "FlowControl=9;FitOrderFreq=1"},
    };
    for (const auto& [members, commands] : cases) {
        host.Api().TakeCalls();
        Send("NEWORDER", R"("Symbol":"OV.O.X.A",)" + members);
        EXPECT_EQ(PutOf(host.Api().TakeCalls(), "22"), "string " + commands) << members;
    }
}

TEST_F(Orders, SymbolChoosesTheKind) {
    const struct {
        std::string symbol;
        std::string order;
    } cases[] = {
        {"OV.S.X.A", "order 8"},
        {"OV.F.X.A", "order 9"},
        {"OV.O.X.A", "order 9"},
        {"OV.S.O.A", "order 9"},
        {"X.F.S.Y", "order 9"},
        {"A", ""},
        {"OV.S", ""},
        {"", ""},
    };
    for (const auto& [symbol, order] : cases) {
        host.Api().TakeCalls();
        const std::string reply = Send("NEWORDER", R"("Symbol":")" + symbol + "\"");
        const auto calls = host.Api().TakeCalls();
        if (!order.empty()) {
            EXPECT_EQ(calls.back(), order) << symbol;
        } else {
            EXPECT_EQ(reply, Failure("NEWORDER", "symbol is error!!"));
            EXPECT_TRUE(calls.empty());
        }
    }
}

TEST_F(Orders, RefusalsCarryTheCodeAsText) {
    host.Api().orderResult = -2147483648;
    const std::string symbol = R"("Symbol":"OV.S.X.A","ReportID":"R1")";
    EXPECT_EQ(Send("NEWORDER", symbol),
              R"({"Reply":"NEWORDER","Success":"Fail","ErrCode":"-2147483648"})");
    EXPECT_EQ(
        Send("REPLACEORDER", symbol),
        R"({"Reply":"REPLACEORDER","ReportID":"R1","Success":"Fail","ErrCode":"-2147483648"})");
    host.Api().orderResult = 0;
    EXPECT_EQ(Send("CANCELORDER", symbol),
              R"({"Reply":"CANCELORDER","ReportID":"R1","Success":"Fail","ErrCode":"0"})");
}

} // namespace
} // namespace halvane
