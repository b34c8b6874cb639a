#include "tests/hold/Ledger.h"

#include "foundation/support/Utf.h"
#include "tests/hold/Gateway.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace halvane {
namespace {

constexpr std::int64_t kSilenceMs = 60'000, kRoundMs = 10'000, kHeartbeatMs = 20'000,
                       kStartMs = 1000, kLongestInLineMs = 300'000;

// What may come next in an order's life, by the type of its last report; "" is before all.
const std::map<std::string, std::set<std::string>> kNext = {
    {"", {"0", "8"}},
    {"0", {"1", "2", "4", "5", "9", "12"}},
    {"5", {"1", "2", "4", "5", "9", "12"}},
    {"9", {"1", "2", "4", "5", "12"}},
    {"1", {"1", "2", "4", "5", "12"}},
};

// Price limits, funds, combined positions, permissions, hours, an incident.
const std::set<std::string> kRejections = {"141", "142", "143", "144", "145", "146"};

constexpr const char* kReportMembers[] = {
    "ReportID",  "Account",     "BrokerID",     "Symbol",       "Side",
    "OrderID",   "OriginalQty", "OrderQty",     "OrderType",    "UserKey1",
    "UserKey2",  "UserKey7",    "CumQty",       "LeavesQty",    "ExecType",
    "ErrorCode", "TradeDate",   "TransactDate", "TransactTime", "FilledOrdersCount"};

std::int64_t Number(const std::string& text) { return std::strtoll(text.c_str(), nullptr, 10); }

} // namespace

std::string Of(const JsonValue& object, const char* name) {
    return ToUtf8(StringMember(object, *FromUtf8(name)));
}

std::vector<const JsonValue*> RowsOf(const JsonValue& object, const char* name) {
    std::vector<const JsonValue*> rows;
    const JsonValue* array = FindMember(object, *FromUtf8(name));
    if (array == nullptr || !array->IsArray()) return rows;
    for (const JsonValue* each = array->Begin(); each != array->End(); ++each)
        rows.push_back(each);
    return rows;
}

double UnitsOf(const std::string& symbol) {
    return symbol.find(".S.") != std::string::npos ? 1 : 50;
}

bool Session::IsAlive(std::int64_t nowMs) const {
    return !leaving && nowMs <= heardAfterMs + kSilenceMs;
}

bool Session::IsGone(std::int64_t nowMs) const {
    return left || (asking == 0 && nowMs > heardBeforeMs + kSilenceMs + kRoundMs);
}

void Ledger::Read(const JsonValue& publication, std::deque<std::string>& told) {
    const std::string type = Of(publication, "DataType");
    if (type == "PING") return void(++beats_);
    const JsonValue* const body = FindMember(publication, L"Report");
    const JsonValue* const data = FindMember(publication, L"Data");
    std::string key;
    if (body != nullptr) key = Of(*body, "ReportID");
    if (type == "SYMBOLCLEAR" && data != nullptr) key = Of(*data, "Symbol");
    Keep(!told.empty() && told.front() == type + " " + key,
         "publications are what was told, in order: " + type + " " + key + " instead of " +
             (told.empty() ? "nothing" : told.front()));
    told.pop_front();
    if (type == "EXECUTIONREPORT") ReadReport(*body);
    if (type == "FILLEDREPORT") ReadFill(*body);
    if (type == "REPORTRESET") resets_.push_back(listed_.size());
}

// The first came while the gateway started.
void Ledger::CheckHeartbeats() const {
    const std::int64_t now = Turns::All().NowMs();
    Keep(beats_ >= (now - kStartMs) / kHeartbeatMs && beats_ <= now / kHeartbeatMs,
         "a heartbeat every 20 s");
}

void Ledger::ReadReport(const JsonValue& row) {
    const std::string id = Of(row, "ReportID");
    const auto order = wanted.find(Of(row, "UserKey1"));
    Keep(order != wanted.end() && order->second.fate != Wanted::Refused,
         "who reports was asked for and taken: " + id);
    Wanted& want = order->second;
    Report& report = reports_[id];
    if (report.last.empty()) {
        Keep(want.reportId.empty(), "an order has one report: " + id);
        want.reportId = id;
        listed_.push_back(id);
        reportOf_[Of(row, "OrderID")] = id;
        Keep(Of(row, "OriginalQty") == want.quantity, "as many as were wanted: " + id);
        Keep(Of(row, "Price") == want.price,
             "at the price that was wanted: " + Of(row, "Price") + " for " + want.price);
    }
    Keep(Of(row, "Account") == want.account && Of(row, "Symbol") == want.symbol &&
             Of(row, "Side") == want.side && Of(row, "BrokerID") == "PAPER" &&
             Of(row, "OrderType") == want.type && Of(row, "TimeInForce") == want.force,
         "a report is that of its order: " + id);
    for (const auto& [name, value] : want.keys)
        Keep(Of(row, name.c_str()) == value, "keys are those of the order: " + name);
    const std::string before = report.last["ExecType"];
    const std::string now = Of(row, "ExecType"), reason = Of(row, "ErrorCode");
    Keep(now == "8" ? kRejections.contains(reason) : reason == "0",
         "an order is rejected for a reason: " + reason);
    const auto next = kNext.find(before);
    Keep(next != kNext.end() && next->second.contains(now),
         "a life goes its way: from " + before + " to " + now);
    const std::int64_t cum = Number(Of(row, "CumQty")), leaves = Number(Of(row, "LeavesQty"));
    Keep(cum >= Number(report.last["CumQty"]), "what is filled stays filled: " + id);
    Keep(kNext.contains(now) ? cum + leaves == Number(Of(row, "OrderQty")) && leaves > 0
                             : leaves == 0,
         "what is left is what is not filled: " + id);
    Keep(want.force != "3" || now != "4" || cum == 0, "all at once or nothing: " + id);
    Keep(cum == 0 || want.account != "1000003" || want.symbol.find(".F.") != std::string::npos,
         "who may trade futures alone trades futures: " + id);
    if (now == "5") restated_.emplace(id, Of(row, "OrderQty"));
    for (const char* name : kReportMembers)
        report.last[name] = Of(row, name);
}

void Ledger::ReadFill(const JsonValue& row) {
    const auto found = reportOf_.find(Of(row, "OrderID"));
    Keep(found != reportOf_.end(), "an order is reported before its fills");
    Report& report = reports_[found->second];
    for (const char* name : {"Account", "Symbol", "Side", "UserKey1", "UserKey2", "UserKey7"})
        Keep(Of(row, name) == report.last[name],
             std::string("a fill is that of its order: ") + name);
    const std::int64_t quantity = Number(Of(row, "MatchedQty"));
    const double price = std::strtod(Of(row, "MatchedPrice").c_str(), nullptr);
    report.filled += quantity;
    Keep(quantity > 0 && price > 0 && report.filled <= Number(report.last["CumQty"]),
         "fills are what the report says, " + found->second);
    report.fills.push_back(Of(row, "ReportID"));
    const std::int64_t signedQuantity = Of(row, "Side") == "1" ? quantity : -quantity;
    auto& [net, paid] = held_[{Of(row, "Account"), Of(row, "Symbol")}];
    net += signedQuantity;
    if (net < 0) shorted_.emplace(Of(row, "Account"), Of(row, "Symbol"));
    paid += price * static_cast<double>(signedQuantity) * UnitsOf(Of(row, "Symbol"));
}

// After a reset the list is the old one, or begins anew with a new day.
void Ledger::CheckReports(const std::vector<const JsonValue*>& restored) {
    for (const std::size_t before : std::exchange(resets_, {})) {
        if (restored.size() + before != listed_.size()) continue;
        listed_.erase(listed_.begin(), listed_.begin() + static_cast<std::ptrdiff_t>(before));
        break;
    }
    Keep(restored.size() == listed_.size(),
         "all reports are restored: " + std::to_string(restored.size()) + " of " +
             std::to_string(listed_.size()));
    for (std::size_t n = 0; n < listed_.size(); ++n) {
        const Report& report = reports_.at(listed_[n]);
        for (const auto& [name, value] : report.last)
            Keep(Of(*restored[n], name.c_str()) == value,
                 "what is restored is what was published: " + listed_[n] + " " + name);
        Keep(Number(report.last.at("CumQty")) == report.filled, "all fills come: " + listed_[n]);
    }
}

void Ledger::CheckFills(const std::vector<const JsonValue*>& restored) const {
    std::vector<std::string> expected, found;
    for (const std::string& id : listed_)
        expected.insert(expected.end(), reports_.at(id).fills.begin(), reports_.at(id).fills.end());
    for (const JsonValue* each : restored)
        found.push_back(Of(*each, "ReportID"));
    Keep(found == expected, "the fills that are restored are those published");
}

double Ledger::CheckPositions(const std::string& account,
                              const std::vector<const JsonValue*>& rows) const {
    auto left = held_;
    double worth = 0;
    for (const JsonValue* row : rows) {
        const std::string symbol = Of(*row, "Symbol");
        const std::int64_t net = Number(Of(*row, "SumLongQty")) - Number(Of(*row, "SumShortQty"));
        Keep(Of(*row, "Account") == account, "positions are those of the account");
        Keep(net == left[{account, symbol}].first, "positions are fills: " + symbol);
        left.erase({account, symbol});
        const double price = std::strtod(Of(*row, "MarketPrice").c_str(), nullptr);
        worth += static_cast<double>(net) * price * UnitsOf(symbol);
        CheckResting(symbol, price);
    }
    for (const auto& [where, held] : left)
        Keep(where.first != account || held.first == 0, "fills are positions: " + where.second);
    return worth;
}

double Ledger::Paid(const std::string& account) const {
    double paid = 0;
    for (const auto& [where, held] : held_)
        paid += where.first == account ? held.second : 0;
    return paid;
}

// Stocks and futures; others may be before it for a while, and what is left of one may wait.
void Ledger::CheckResting(const std::string& symbol, double price) const {
    for (const std::string& id : WorkingReports()) {
        const auto& last = reports_.at(id).last;
        const Wanted& want = wanted.at(last.at("UserKey1"));
        const bool waits = Turns::All().NowMs() > reports_.at(id).sinceMs + kLongestInLineMs;
        if (want.symbol != symbol || want.price.empty() || last.at("CumQty") != "0" || !waits ||
            symbol.find(".O.") != std::string::npos)
            continue;
        const double limit = std::strtod(want.price.c_str(), nullptr);
        const double better = want.side == "1" ? limit - price : price - limit;
        Keep(better < 0.01 * price, "who offers more than the market is filled: " + id);
    }
}

// Nothing where no order works; with one that buys stock at least what it may cost, unless it may
// have closed something.
void Ledger::CheckFrozen(const std::string& account, const JsonValue& margins) const {
    double least = 0, frozen = 0;
    bool any = false;
    for (const std::string& id : WorkingReports()) {
        const auto& last = reports_.at(id).last;
        const Wanted& want = wanted.at(last.at("UserKey1"));
        Keep(want.force == "1", "what is for this moment does not rest: " + id);
        if (want.account != account) continue;
        any = true;
        const bool opens = !shorted_.contains({account, want.symbol});
        if (want.side == "1" && UnitsOf(want.symbol) == 1 && opens && !want.price.empty())
            least += static_cast<double>(Number(last.at("LeavesQty"))) *
                     std::strtod(want.price.c_str(), nullptr);
    }
    for (const char* name : {"FrozenCash", "FrozenMargin", "FrozenCommission"})
        frozen += std::strtod(Of(margins, name).c_str(), nullptr);
    Keep(any || frozen == 0, "without orders nothing is frozen");
    Keep(frozen > least - 0.01, "orders freeze what they may cost");
}

void Ledger::CheckFates() const {
    for (const auto& [key, want] : wanted)
        Keep(want.fate != Wanted::Taken || !want.reportId.empty(),
             "what is taken is reported: " + key);
    Keep(std::ranges::includes(restated_, replaced), "what is replaced is reported so");
}

std::vector<std::string> Ledger::WorkingReports() const {
    std::vector<std::string> working;
    for (const std::string& id : listed_)
        if (kNext.contains(reports_.at(id).last.at("ExecType"))) working.push_back(id);
    return working;
}

} // namespace halvane
