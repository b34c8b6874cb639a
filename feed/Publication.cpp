#include "feed/Publication.h"

#include "foundation/support/Json.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <charconv>
#include <span>
#include <vector>

namespace halvane {
namespace {

// Platforms use a report's identifier again, another day or for each match of an order, so it is
// not enough by itself. Members that change while nothing happens are not among these.
constexpr std::string_view kFillKey[] = {
    "ReportID", "BrokerID",   "Account",      "Symbol",       "Side",
    "OrderID",  "MatchedQty", "MatchedPrice", "TransactDate", "TransactTime"};
constexpr std::string_view kReportKey[] = {"ReportID",  "BrokerID",     "Account",     "Symbol",
                                           "Side",      "OrderID",      "OrderQty",    "Price",
                                           "StopPrice", "CumQty",       "LeavesQty",   "ExecType",
                                           "ErrorCode", "TransactDate", "TransactTime"};
constexpr char kBetween = '\x1f'; // no text on the wire holds it unescaped
constexpr std::string_view kRouteMembers[] = {"Account", "Symbol"};

// Takes the kind and the wanted members of the record, which is the object "Report" or "Data" in
// the document, and stops the reader when it has them all.
class MemberReader : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, MemberReader> {
  public:
    using Wanted = std::span<const std::string_view>;
    explicit MemberReader(Wanted (*wantedOf)(std::string_view kind)) : wantedOf_(wantedOf) {}

    void Read(std::string_view json) {
        rapidjson::MemoryStream stream(json.data(), json.size());
        rapidjson::Reader reader;
        reader.Parse<rapidjson::kParseIterativeFlag>(stream, *this);
    }
    const std::string& Kind() const { return kind_; }
    const std::vector<std::string>& Values() const { return values_; }

    bool Default() { return true; }
    bool StartObject() {
        ++depth_;
        return true;
    }
    bool EndObject(rapidjson::SizeType) { return --depth_ > 1; } // nothing follows the record
    bool StartArray() { return false; }                          // a list belongs to no account
    bool Key(const char* text, rapidjson::SizeType size, bool) {
        key_ = {text, size};
        return depth_ > 1 || key_ == "DataType" || key_ == "Report" || key_ == "Data";
    }
    bool String(const char* text, rapidjson::SizeType size, bool) {
        if (depth_ == 1) {
            kind_.assign(text, size);
            wanted_ = wantedOf_(kind_);
            values_.resize(wanted_.size());
            return !wanted_.empty();
        }
        const auto found = std::ranges::find(wanted_, key_);
        if (found == wanted_.end()) return true;
        values_[static_cast<std::size_t>(found - wanted_.begin())].assign(text, size);
        return ++met_ < wanted_.size();
    }

  private:
    Wanted (*wantedOf_)(std::string_view kind);
    Wanted wanted_;
    std::string kind_, key_;
    std::vector<std::string> values_;
    std::size_t met_ = 0;
    int depth_ = 0;
};

MemberReader::Wanted RouteMembers(std::string_view) { return kRouteMembers; }

MemberReader::Wanted KeyMembers(std::string_view kind) {
    if (kind == "FILLEDREPORT") return kFillKey;
    if (kind == "EXECUTIONREPORT") return kReportKey;
    return {};
}

std::string Escaped(std::string_view part) {
    std::string escaped;
    for (const char c : part) {
        if (c == '.')
            escaped += "%2E";
        else if (c == '%')
            escaped += "%25";
        else
            escaped += c;
    }
    return escaped;
}

} // namespace

Route RouteOf(std::string_view json) {
    MemberReader reader(RouteMembers);
    reader.Read(json);
    Route route{reader.Kind(), "", ""};
    if (!reader.Values().empty()) {
        route.account = reader.Values()[0];
        route.symbol = reader.Values()[1];
    }
    return route;
}

std::string TopicOf(const Route& route) {
    return Escaped(route.kind) + "." + Escaped(route.account) + "." + route.symbol;
}

std::string RecordKey(std::string_view json) {
    MemberReader reader(KeyMembers);
    reader.Read(json);
    if (reader.Values().empty() || reader.Values()[0].empty()) return {};
    std::string key = reader.Kind();
    for (const std::string& value : reader.Values())
        key.append(1, kBetween).append(value);
    return key;
}

RecordTime TimeOfRecord(std::string_view key) {
    const std::size_t last = key.rfind(kBetween);
    const std::size_t first = key.rfind(kBetween, last - 1);
    RecordTime when;
    std::from_chars(key.data() + first + 1, key.data() + last, when.date);
    std::from_chars(key.data() + last + 1, key.data() + key.size(), when.time);
    return when;
}

} // namespace halvane
