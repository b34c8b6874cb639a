#include "clients/cpp/Records.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace halvane::client {
namespace {

constexpr std::string_view kReportId = "ReportID";

// What tells two states of an order apart.
constexpr std::string_view kStateTexts[] = {
    "OrderID",   "OrderQty",          "CumQty",       "LeavesQty",    "ExecType",
    "ErrorCode", "FilledOrdersCount", "TransactDate", "TransactTime",
};
constexpr std::string_view kStatePrices[] = {"Price", "StopPrice", "TriggeredPrice"};

// How restored records write a value that the platform does not have.
constexpr std::string_view kNoInteger = "-2147483648";
constexpr std::string_view kNoPrice = "-922337203.685478";
constexpr double kPriceStep = 1e-6; // of restored records; published ones have finer prices

std::string Known(std::string text, std::string_view none) {
    return text == none ? std::string() : std::move(text);
}

bool AreSamePrice(const std::string& one, const std::string& other) {
    if (one.empty() || other.empty()) return one == other;
    double a = 0;
    double b = 0;
    std::from_chars(one.data(), one.data() + one.size(), a);
    std::from_chars(other.data(), other.data() + other.size(), b);
    return std::abs(a - b) <= kPriceStep;
}

} // namespace

std::string MaskOf(const Message& row) { return row.Text("BrokerID") + "-" + row.Text("Account"); }

bool AreSameState(const Message& one, const Message& other) {
    const auto sameText = [&](std::string_view key) {
        return Known(one.Text(key), kNoInteger) == Known(other.Text(key), kNoInteger);
    };
    const auto samePrice = [&](std::string_view key) {
        return AreSamePrice(Known(one.Text(key), kNoPrice), Known(other.Text(key), kNoPrice));
    };
    return std::all_of(std::begin(kStateTexts), std::end(kStateTexts), sameText) &&
           std::all_of(std::begin(kStatePrices), std::end(kStatePrices), samePrice);
}

bool Rows::Put(const std::string& reportId, const Message& row) {
    const auto [place, isNew] = places_.emplace(reportId, rows_.size());
    if (isNew) {
        rows_.push_back(row);
    } else {
        rows_[place->second] = row;
    }
    const std::string text = row.Text(indexed_);
    if (!text.empty()) {
        std::vector<std::size_t>& with = with_[text];
        if (isNew || std::find(with.begin(), with.end(), place->second) == with.end()) {
            with.push_back(place->second);
        }
    }
    return isNew;
}

const Message* Rows::Find(std::string_view reportId) const {
    const auto found = places_.find(std::string(reportId));
    return found == places_.end() ? nullptr : &rows_[found->second];
}

std::vector<Message> Rows::Select(std::string_view accountMask) const {
    if (accountMask.empty()) return rows_;
    std::vector<Message> selected;
    std::copy_if(rows_.begin(), rows_.end(), std::back_inserter(selected),
                 [&](const Message& row) { return MaskOf(row) == accountMask; });
    return selected;
}

std::vector<Message> Rows::With(const std::string& text) const {
    std::vector<Message> with;
    const auto found = with_.find(text);
    if (found != with_.end()) {
        for (const std::size_t place : found->second)
            with.push_back(rows_[place]);
    }
    return with;
}

void Records::PublishOrder(const Message& report) {
    const std::string id = report.Text(kReportId);
    published_.insert(id);
    orders_.Put(id, report);
}

void Records::RestoreOrder(const Message& report) {
    const std::string id = report.Text(kReportId);
    if (!published_.contains(id)) orders_.Put(id, report);
}

bool Records::AddFill(const Message& fill) {
    const std::string id = fill.Text(kReportId);
    return !fills_.Find(id) && fills_.Put(id, fill);
}

void Records::CarryOver(const Records& old) {
    for (const Message& order : old.orders_.All()) {
        if (!orders_.Find(order.Text(kReportId))) RestoreOrder(order);
    }
    for (const Message& fill : old.fills_.All())
        AddFill(fill);
}

void Records::KeepForms(const Records& old) {
    for (const Message& known : old.orders_.All()) {
        const std::string id = known.Text(kReportId);
        const Message* now = orders_.Find(id);
        const bool fuller = now && now->Has("QryIndex") && !known.Has("QryIndex");
        if (fuller && AreSameState(known, *now)) orders_.Put(id, known);
    }
}

void Lives::Published(const Message& report, Time at) {
    Add(lives_[report.Text(kReportId)], {at, false, report});
}

void Lives::Restored(const Message& report, Time at) {
    std::vector<Report>& life = lives_[report.Text(kReportId)];
    if (life.empty() || !AreSameState(life.back().report, report)) Add(life, {at, true, report});
}

void Lives::Add(std::vector<Report>& life, Report report) {
    if (life.size() >= longest_) life.erase(life.begin());
    life.push_back(std::move(report));
}

std::vector<Report> Lives::Of(std::string_view reportId) const {
    const auto found = lives_.find(reportId);
    return found == lives_.end() ? std::vector<Report>() : found->second;
}

} // namespace halvane::client
