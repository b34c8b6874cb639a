#include "foundation/support/Settings.h"
#include "foundation/support/Utf.h"
#include "tests/hold/Simulation.h"

#include <cmath>

namespace halvane {
namespace {

constexpr const char* kSymbols[] = {"OV.S.PAPX.ALFA",
                                    "OV.S.PAPX.BETU",
                                    "OV.F.PAPF.IDX.202703",
                                    "OV.F.PAPF.IDX.202706",
                                    "OV.O.PAPF.IDX.202703.C.20000",
                                    "OV.O.PAPF.IDX.202703.P.19000"};

// clang-format off
constexpr Row kRows[] = {
    {"LOGIN",                 8, &Simulation::LogIn,     &Simulation::HasLoggedIn, false},
    {"LOGOUT",                3, &Simulation::Nothing,   &Simulation::IsPlain,     false},
    {"PONG",                 20, &Simulation::Nothing,   &Simulation::IsPlain},
    {"ACCOUNTS",              3, &Simulation::Nothing,   &Simulation::HasAccounts},
    {"NEWORDER",             30, &Simulation::Order,     &Simulation::IsOrdered},
    {"NEWSTRATEGYORDER",      4, &Simulation::Strategy,  &Simulation::IsOrdered},
    {"REPLACEORDER",          8, &Simulation::Replace,   &Simulation::IsChanged},
    {"CANCELORDER",           8, &Simulation::Cancel,    &Simulation::IsChanged},
    {"MARGINS",               3, &Simulation::OfAccount, &Simulation::HasRows},
    {"POSITIONS",             3, &Simulation::Page,      &Simulation::HasRows},
    {"QUERYOPTCOMBORDER",     2, &Simulation::Page,      &Simulation::HasRows},
    {"QUERYOPTCOMBPOSITION",  2, &Simulation::Page,      &Simulation::HasRows},
    {"POSITIONTRACKER",       2, &Simulation::OfAccount, &Simulation::HasRows},
    {"RESTOREREPORT",         3, &Simulation::Page,      &Simulation::HasRows},
    {"RESTOREFILLREPORT",     3, &Simulation::Page,      &Simulation::HasRows},
    {"QUERYALLINSTRUMENT",    2, &Simulation::List,      &Simulation::HasList},
    {"QUERYINSTRUMENTINFO",   3, &Simulation::Info,      &Simulation::HasInfo},
    {"OPTCOMB",               1, &Simulation::Combine,   &Simulation::IsPlain},
    {"SENDMESSAGE",           1, &Simulation::Message,   &Simulation::IsPlain},
};
// clang-format on

} // namespace

std::span<const Row> Rows() { return kRows; }

std::string Simulation::LogIn(Asked& asked) {
    const bool known = !OneIn(random_, 5), rightKey = known || OneIn(random_, 2);
    asked.subject = known ? "key" : "wrong";
    const std::string system = ToUtf8(GetSetting(L"SystemName"));
    return ",\"Param\":{" + Member("SystemName", rightKey && !known ? "OTHER" : system) + "," +
           Member("ServiceKey", rightKey ? "key" : "wrong") + "}";
}

std::string Simulation::Order(Asked& asked) {
    static constexpr double kPrices[] = {120, 45.5, 20'000, 20'000, 700, 300};
    const auto which = static_cast<std::size_t>(Within(random_, 0, std::ssize(kSymbols) - 1));
    const bool limit = OneIn(random_, 2);
    Wanted want;
    want.account = AnyOf(random_, kHolders);
    want.symbol = kSymbols[which];
    want.side = std::to_string(Within(random_, 1, 2));
    want.quantity = std::to_string(Within(random_, 1, 30));
    want.type = limit ? "2" : "1";
    want.force = std::to_string(Within(random_, 1, 3));
    want.keys["UserKey7"] = "a;b";
    if (OneIn(random_, 2)) want.keys["UserKey2"] = "second";
    std::string price = OneIn(random_, 2) ? "" : "1.5"; // a market order has none all the same
    if (limit) {                                        // whole prices fit every tick
        const double about =
            kPrices[which] * (1 + 0.001 * static_cast<double>(Within(random_, -30, 30)));
        price = want.price = std::to_string(std::llround(about));
    }
    asked.subject = "k" + Number();
    std::string order = Member("BrokerID", "PAPER") + "," + Member("Account", want.account) + "," +
                        Member("Symbol", want.symbol) + "," + Member("Side", want.side) + "," +
                        Member("OrderQty", want.quantity) + "," + Member("OrderType", want.type) +
                        "," + Member("TimeInForce", want.force) + "," + Member("Price", price) +
                        "," + Member("UserKey1", asked.subject);
    for (const auto& [name, value] : want.keys)
        order += "," + Member(name.c_str(), value);
    ledger_.wanted[asked.subject] = want;
    return ",\"Param\":{" + order + "}";
}

std::string Simulation::Strategy(Asked& asked) {
    std::string order = Order(asked);
    order.insert(order.size() - 1,
                 "," + Member("StrategyType", "SIMPLE") + "," + Member("UserKey3", "mine"));
    ledger_.wanted[asked.subject].keys["UserKey3"] = "key|Halvane"; // the service's own
    return order;
}

std::string Simulation::Cancel(Asked& asked) {
    const std::vector<std::string> working = ledger_.WorkingReports();
    asked.subject = working.empty() || OneIn(random_, 10) ? "R0-0" : AnyOf(random_, working);
    return ",\"Param\":{" + Member("ReportID", asked.subject) + "}";
}

std::string Simulation::Replace(Asked& asked) {
    std::string changes = Cancel(asked);
    asked.quantity = std::to_string(Within(random_, 0, 40));
    changes.insert(changes.size() - 1, "," + Member("OrderQty", asked.quantity));
    return changes;
}

std::string Simulation::OfAccount(Asked& asked) {
    asked.subject = AnyOf(random_, kHolders);
    return "," + Member("AccountMask", "PAPER-" + asked.subject);
}

std::string Simulation::Page(Asked& asked) {
    asked.start = Within(random_, -2, 60);
    return OfAccount(asked) + "," + Member("QryIndex", std::to_string(asked.start));
}

std::string Simulation::List(Asked& asked) {
    constexpr const char* kTypes[] = {"PaperStk", "PaperFut", "Options", "None"};
    asked.subject = AnyOf(random_, kTypes);
    constexpr const char* kDays[] = {"", "", "20261218", "20261218093000"};
    const std::string day = AnyOf(random_, kDays);
    asked.inVain = day.size() > 8; // a time of day is in no file's name
    return "," + Member("Type", asked.subject) + "," + Member("DateTime", day);
}

std::string Simulation::Info(Asked& asked) {
    asked.subject = OneIn(random_, 5) ? "OV.S.PAPX.NONE" : AnyOf(random_, kSymbols);
    return "," + Member("Symbol", asked.subject);
}

std::string Simulation::Combine(Asked&) {
    return R"(,"Param":{"BrokerID":"PAPER","Account":"1000001","CombDirection":"1","Side":"1",)"
           R"("Symbol":"OV.O.PAPF.IDX.202703.P.19000&OV.O.PAPF.IDX.202703.P.20000",)"
           R"("CombinationType":"9","Volume":"1","OptCombID":""})";
}

std::string Simulation::Message(Asked&) {
    return R"(,"Param":{"System":"LIME","LineID":"@desk","Message":"a message"})";
}

// --- replies
// --------------------------------------------------------------------------------------

void Simulation::HasLoggedIn(const Asked& asked, const JsonValue& reply) {
    const std::string key = Of(reply, "SessionKey");
    Keep(asked.subject == "key", "nobody comes in with a wrong key");
    Keep(key.size() == 32 && keys_.insert(key).second, "session keys are new");
    Keep(Of(reply, "SubPort") == ToUtf8(GetSetting(L"PublishPort")), "log-in tells the port");
}

void Simulation::IsOrdered(const Asked& asked, const JsonValue& reply) {
    if (std::string_view(asked.row->name) != "NEWORDER") return IsPlain(asked, reply);
    Wanted& want = ledger_.wanted[asked.subject];
    const bool taken = Of(reply, "Success") == "OK";
    const int code = std::atoi(Of(reply, "ErrCode").c_str());
    constexpr int kNotConnected = 101;
    Keep(taken || (code == kNotConnected && !gateway_->IsCalmSince(asked.sentMs)),
         "a good order is refused while the platform is away: " + Of(reply, "ErrCode"));
    Keep(taken || want.reportId.empty(), "what is refused is not reported");
    want.fate = taken ? Wanted::Taken : Wanted::Refused;
}

void Simulation::IsChanged(const Asked& asked, const JsonValue& reply) {
    Keep(Of(reply, "ReportID") == asked.subject, "a change names its report");
    Keep(asked.subject != "R0-0" || Of(reply, "Success") == "Fail",
         "what is not cannot be changed");
    if (Of(reply, "Success") == "OK" && asked.quantity != "0" && !asked.quantity.empty())
        ledger_.replaced.emplace(asked.subject, asked.quantity);
}

void Simulation::HasRows(const Asked& asked, const JsonValue& reply) {
    constexpr const char* kArrays[] = {"Margins", "Positions", "Orders", "Data"};
    std::int64_t last = INT64_MIN;
    Keep(reply.MemberCount() == 3, "rows are all that is added");
    for (const char* array : kArrays) {
        const auto rows = RowsOf(reply, array);
        const bool restored = std::string_view(asked.row->name).starts_with("RESTORE");
        Keep(rows.size() <= 50, "pages have 50 rows");
        Keep(array != kArrays[0] || std::string_view(asked.row->name) != "MARGINS" ||
                 rows.size() == 1,
             "an account has its margins");
        for (const JsonValue* row : rows) {
            Keep(restored || Of(*row, "Account") == asked.subject, "rows are those of the account");
            const std::string index = Of(*row, "QryIndex");
            const bool first = last == INT64_MIN;
            const bool known = !first || asked.start >= 0;
            Keep(index.empty() || !known ||
                     std::atoll(index.c_str()) == (first ? asked.start : last) + 1,
                 "rows are numbered");
            last = std::atoll(index.c_str());
        }
    }
}

void Simulation::HasAccounts(const Asked&, const JsonValue& reply) {
    const auto rows = RowsOf(reply, "Accounts");
    Keep(rows.size() == std::size(kHolders), "all accounts are told");
    for (std::size_t n = 0; n < rows.size(); ++n)
        Keep(Of(*rows[n], "Account") == kHolders[n], "accounts are told in order");
}

void Simulation::HasList(const Asked& asked, const JsonValue& reply) {
    const JsonValue* list = FindMember(reply, L"Instruments");
    const bool stocks = asked.subject == "PaperStk";
    Keep(asked.subject != "None" && list != nullptr && !RowsOf(*list, "Node").empty() &&
             WriteJson(*list).find(stocks ? L"OV.S.PAPX.ALFA" : L"PAPF.IDX.") != Text::npos,
         "a list has its contracts");
}

void Simulation::HasInfo(const Asked& asked, const JsonValue& reply) {
    const JsonValue* info = FindMember(reply, L"Info");
    Keep(info != nullptr && Of(*info, "Symbol") == asked.subject,
         "details are those of the symbol");
}

} // namespace halvane
