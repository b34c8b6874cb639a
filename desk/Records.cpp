#include "desk/Records.h"

#include "desk/JsonText.h"

#include <charconv>
#include <span>

namespace halvane::desk {
namespace {

constexpr const char* kOrder[] = {
    "ReportID",     "OrderID",     "BrokerID",    "Account",        "Symbol",       "Side",
    "OrderType",    "TimeInForce", "OrderQty",    "Price",          "StopPrice",    "CumQty",
    "LeavesQty",    "AvgPrice",    "ExecType",    "ErrorCode",      "ExecTypeText", "TransactDate",
    "TransactTime", "UserKey1",    "OriginalQty", "PositionEffect", "OrgSource",
};
constexpr const char* kState[] = {
    "ExecType", "ExecTypeText", "ErrorCode", "OrderQty",     "Price",        "StopPrice",
    "CumQty",   "LeavesQty",    "AvgPrice",  "TransactDate", "TransactTime",
};
constexpr const char* kFill[] = {
    "ReportID",     "OrderID",    "BrokerID",       "Account",      "Symbol",       "Side",
    "MatchedPrice", "MatchedQty", "PositionEffect", "TransactDate", "TransactTime", "UserKey1",
};
constexpr const char* kPosition[] = {
    "Symbol",      "Side",        "Quantity",    "SumLongQty", "SumShortQty",        "AvgPrice",
    "MarketPrice", "TodayProfit", "CloseProfit", "UsedMargin", "FloatProfitByTrade", "Commission",
};
constexpr const char* kFunds[] = {
    "CurrencyToSystem",
    "TotalEquity",
    "ExcessEquity",
    "GrossPL",
    "OpenTradeEquity",
    "BeginningBalance",
    "EndingBalance",
    "Commissions",
    "FrozenMargin",
    "AccountValueAtMarket",
    "InitialMarginRequirement",
    "FrozenCash",
};
constexpr const char* kAccount[] = {"AccountMask", "AccountName", "BrokerName", "Status"};
constexpr const char* kStatus[] = {"Version",     "Started",  "UptimeMs",
                                   "MemoryBytes", "UnderWay", "LongestMs"};
constexpr const char* kPlatform[] = {"Address", "Paper", "Connected", "TradeDataReady",
                                     "LastEvent"};
constexpr const char* kFeed[] = {"First", "Last", "Failure", "Waiting", "Lost"};
constexpr const char* kSession[] = {"AgeMs", "SilentMs"};
constexpr const char* kWorker[] = {"Request", "RunsMs"};
constexpr const char* kOperation[] = {"Request", "Count", "Failures", "P50Us",
                                      "P90Us",   "P99Us", "MaxUs"};
constexpr const char* kPublication[] = {"DataType", "Count"};

bool IsDecimal(std::string_view text) {
    return !text.empty() && text.find_first_not_of("-0123456789.") == std::string_view::npos;
}

// A restored record says the same with other texts than a published one.
std::string Plain(std::string text) {
    if (text == "-922337203.685478" || text == "-2147483648") return ""; // no value
    if (text.find('.') == std::string::npos || !IsDecimal(text)) return text;
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.')) text.pop_back();
    return text;
}

bool IsFreeText(std::string_view key) {
    return key.starts_with("UserKey") || key.ends_with("ID") || key == "Version";
}

void Copy(JsonText& row, const client::Message& record, std::span<const char* const> keys) {
    for (const char* key : keys)
        row.Member(key, IsFreeText(key) ? record.Text(key) : Plain(record.Text(key)));
}

std::string Copied(const client::Message& record, std::span<const char* const> keys) {
    JsonText row;
    Copy(row, record, keys);
    return row.Finish();
}

void CopyRows(JsonText& row, std::string_view key, const std::vector<client::Message>& records,
              std::span<const char* const> keys) {
    row.BeginArray(key);
    for (const client::Message& record : records)
        row.Raw(Copied(record, keys));
    row.EndArray();
}

std::string RowsOfAccount(const char* part, const std::string& mask,
                          const std::vector<client::Message>& records,
                          std::span<const char* const> keys) {
    JsonText row;
    row.Member("part", part).Member("account", mask);
    CopyRows(row, "rows", records, keys);
    return row.Finish();
}

} // namespace

std::int64_t Ms(client::Time time) { return time.time_since_epoch().count(); }

bool IsWorking(const client::Message& order) {
    const std::string leaves = order.Text("LeavesQty");
    std::int64_t number = 0;
    std::from_chars(leaves.data(), leaves.data() + leaves.size(), number);
    return number > 0;
}

std::string OrderRow(const client::Message& order, const Birth& birth) {
    JsonText row;
    Copy(row, order, kOrder);
    row.Flag("Working", IsWorking(order));
    row.Number("Place", birth.place).Number("Born", birth.atMs).Flag("Older", birth.older);
    return row.Finish();
}

std::string FillRow(const client::Message& fill, const Birth& birth) {
    JsonText row;
    Copy(row, fill, kFill);
    return row.Number("Place", birth.place).Finish();
}

std::string OrderLife(const std::vector<client::Report>& life,
                      const std::vector<client::Message>& fills) {
    JsonText row;
    row.BeginArray("reports");
    for (const client::Report& report : life) {
        JsonText state;
        Copy(state, report.report, kState);
        state.Number("At", Ms(report.at)).Flag("Restored", report.restored);
        row.Raw(state.Finish());
    }
    row.EndArray();
    CopyRows(row, "fills", fills, kFill);
    return row.Finish();
}

std::string StateRow(const client::State& state) {
    constexpr const char* kKinds[] = {"connecting", "refused", "connected", "lost"};
    JsonText row;
    row.Member("part", "link").Member("state", kKinds[static_cast<int>(state.kind)]);
    row.Number("since", Ms(state.since)).Member("reason", state.reason);
    return row.Finish();
}

std::string PositionsRow(const std::string& mask, const std::vector<client::Message>& positions) {
    return RowsOfAccount("positions", mask, positions, kPosition);
}

std::string FundsRow(const std::string& mask, const std::vector<client::Message>& margins) {
    return RowsOfAccount("funds", mask, margins, kFunds);
}

std::string AccountsRow(const std::vector<client::Message>& accounts) {
    JsonText row;
    row.Member("part", "accounts");
    CopyRows(row, "rows", accounts, kAccount);
    return row.Finish();
}

std::string FeedRow(const client::Message& status) {
    JsonText row;
    row.Member("part", "feed");
    Copy(row, status, kFeed);
    return row.Finish();
}

std::string StatusRow(const client::Message& status, std::int64_t nowMs) {
    JsonText row;
    row.Member("part", "status").Number("At", nowMs);
    Copy(row, status, kStatus);
    row.Raw("Platform", Copied(status.Object("Platform"), kPlatform));
    CopyRows(row, "Sessions", status.Rows("Sessions"), kSession);
    CopyRows(row, "Workers", status.Rows("Workers"), kWorker);
    CopyRows(row, "Operations", status.Rows("Operations"), kOperation);
    CopyRows(row, "Publications", status.Rows("Publications"), kPublication);
    return row.Finish();
}

} // namespace halvane::desk
