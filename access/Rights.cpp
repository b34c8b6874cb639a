#include "access/Rights.h"

#include "access/Clients.h"
#include "foundation/support/Numbers.h"

#include <algorithm>

namespace halvane {
namespace {

constexpr TextView kOnlyReads = L"this client may only read";
constexpr TextView kNotItsAccount = L"this client may not use this account";
constexpr TextView kNotItsReport = L"this client has not been shown this report";
constexpr TextView kNotForOneAccount =
    L"this client may not ask for what may concern other accounts";

// clang-format off
constexpr OperationRight kRights[] = {
    {L"LOGIN",                Concerns::Nothing,  true,  nullptr},
    {L"LOGOUT",               Concerns::Nothing,  true,  nullptr},
    {L"PONG",                 Concerns::Nothing,  true,  nullptr},
    {L"QUERYALLINSTRUMENT",   Concerns::Nothing,  true,  nullptr},
    {L"QUERYINSTRUMENTINFO",  Concerns::Nothing,  true,  nullptr},
    {L"ACCOUNTS",             Concerns::Rows,     true,  L"Accounts"},
    {L"POSITIONTRACKER",      Concerns::Rows,     true,  L"Data"},
    {L"RESTOREREPORT",        Concerns::Pages,    true,  L"Orders"},
    {L"RESTOREFILLREPORT",    Concerns::Pages,    true,  L"Orders"},
    {L"MARGINS",              Concerns::Mask,     true,  nullptr},
    {L"POSITIONS",            Concerns::Mask,     true,  nullptr},
    {L"QUERYOPTCOMBORDER",    Concerns::Mask,     true,  nullptr},
    {L"QUERYOPTCOMBPOSITION", Concerns::Mask,     true,  nullptr},
    {L"STATUS",               Concerns::Whatever, true,  nullptr},
    {L"FEEDSTATUS",           Concerns::Whatever, true,  nullptr},
    {L"FEEDREPLAY",           Concerns::Whatever, true,  nullptr},
    {L"NEWORDER",             Concerns::Account,  false, nullptr},
    {L"OPTCOMB",              Concerns::Account,  false, nullptr},
    {L"REPLACEORDER",         Concerns::Report,   false, nullptr},
    {L"CANCELORDER",          Concerns::Report,   false, nullptr},
    {L"NEWSTRATEGYORDER",     Concerns::Whatever, false, nullptr},
    {L"SENDMESSAGE",          Concerns::Whatever, false, nullptr},
    {L"",                     Concerns::Whatever, false, nullptr},
};

// Members by which an order could reach beyond its account: groups of accounts, and texts that the
// platform reads as lists of names and values.
constexpr const wchar_t* kGroups[] = {L"GroupID", L"GroupType", L"GrpAcctOrdType", L"ExtCommands", L"Key"};
constexpr const wchar_t* kListed[] = {
    L"SelfTradePrevention", L"FlowControl", L"FitOrderFreq", L"DelayTransPosition",      // NEWORDER
    L"CombDirection", L"Side", L"CombinationType", L"Volume", L"OptCombID",              // OPTCOMB
};
// clang-format on

bool StaysInItsAccount(const JsonValue& param) {
    const auto isEmpty = [&](const wchar_t* name) {
        const TextView text = StringMember(param, name);
        return text.empty() || text == L"0";
    };
    const auto isOneValue = [&](const wchar_t* name) {
        return StringMember(param, name).find_first_of(L";=&") == TextView::npos;
    };
    const TextView symbol = StringMember(param, L"Symbol"); // two legs have one "&" between
    return std::ranges::all_of(kGroups, isEmpty) && std::ranges::all_of(kListed, isOneValue) &&
           symbol.find_first_of(L";=") == TextView::npos && std::ranges::count(symbol, L'&') <= 1;
}

bool IsOwnRow(const AccessClient& client, const JsonValue& row) {
    return client.Covers(StringMember(row, L"BrokerID"), StringMember(row, L"Account"));
}

JsonValue* MutableMember(JsonValue& object, const wchar_t* name) {
    return object.IsObject() && object.HasMember(name) ? &object[name] : nullptr;
}

} // namespace

const OperationRight& RightOf(TextView operation) {
    const auto* const last = std::end(kRights) - 1;
    return *std::find_if(std::begin(kRights), last,
                         [&](const OperationRight& right) { return operation == right.name; });
}

TextView RefusalOf(const AccessClient& client, const JsonValue& request,
                   const ShownReports& shown) {
    const OperationRight& right = RightOf(StringMember(request, L"Request"));
    if (client.readOnly && !right.onlyReads) return kOnlyReads;
    if (client.allAccounts) return {};
    const JsonValue* found = FindMember(request, L"Param");
    const JsonValue noParam(rapidjson::kObjectType);
    const JsonValue& param = found != nullptr ? *found : noParam;
    switch (right.concerns) {
    case Concerns::Nothing:
    case Concerns::Rows:
    case Concerns::Pages: return {};
    case Concerns::Mask:
        return client.Covers(StringMember(request, L"AccountMask")) ? TextView() : kNotItsAccount;
    case Concerns::Account:
        if (!IsOwnRow(client, param)) return kNotItsAccount;
        return StaysInItsAccount(param) ? TextView() : kNotForOneAccount;
    case Concerns::Report:
        if (!shown.contains(Text(StringMember(param, L"ReportID")))) return kNotItsReport;
        return StaysInItsAccount(param) ? TextView() : kNotForOneAccount;
    case Concerns::Whatever: break;
    }
    return kNotForOneAccount;
}

void KeepOwnRows(const AccessClient& client, JsonValue& rows) {
    for (auto* row = rows.Begin(); row != rows.End();)
        row = IsOwnRow(client, *row) ? row + 1 : rows.Erase(row);
}

bool KeepOwnPublication(const AccessClient& client, JsonDocument& publication,
                        ShownReports& shown) {
    constexpr TextView kForAll[] = {L"PING", L"REPORTRESET", L"POSITIONTRACKER", L"SYMBOLCLEAR"};
    const TextView type = StringMember(publication, L"DataType");
    if (type == L"REPORTRESET") shown.clear();
    if (std::ranges::find(kForAll, type) != std::end(kForAll)) return true;
    if (type == L"ACCOUNTS") {
        JsonValue* rows = MutableMember(publication, L"Accounts");
        if (rows == nullptr || !rows->IsArray()) return false;
        KeepOwnRows(client, *rows);
        return true;
    }
    if (type != L"EXECUTIONREPORT" && type != L"FILLEDREPORT") return false;
    const JsonValue* report = FindMember(publication, L"Report");
    if (report == nullptr || !IsOwnRow(client, *report)) return false;
    if (type == L"EXECUTIONREPORT") shown.emplace(StringMember(*report, L"ReportID"));
    return true;
}

} // namespace halvane
