#include "desk/Watch.h"

#include "desk/JsonText.h"
#include "foundation/support/Clock.h"

#include <algorithm>
#include <charconv>
#include <unordered_set>
#include <utility>

namespace halvane::desk {
namespace {

using client::Answer;
using client::Duration;
using client::Message;

constexpr Duration kStatusTimeout{5'000};
constexpr Duration kListTimeout{120'000}; // a gateway may try for long, and is not asked twice
constexpr Duration kCancelTimeout{10'000};
constexpr Duration kPositionsEvery{2'000};
constexpr int kFundsEvery = 3; // seconds
constexpr int kFeedEvery = 2;
constexpr std::int64_t kPointMs = 10'000;
constexpr std::size_t kMostPoints = 360; // an hour of them
constexpr std::size_t kLongestLife = 200;

double SumOf(const std::vector<Message>& rows) {
    double sum = 0;
    for (const Message& row : rows) {
        const std::string count = row.Text("Count");
        std::int64_t number = 0;
        std::from_chars(count.data(), count.data() + count.size(), number);
        sum += static_cast<double>(number);
    }
    return sum;
}

std::string Reason(const Answer& answer) {
    switch (answer.outcome) {
    case Answer::Outcome::TimedOut: return "no answer in time; it may have arrived all the same";
    case Answer::Outcome::Gone: return "the gateway is away";
    default: return answer.code.empty() ? answer.error : "refused with code " + answer.code;
    }
}

} // namespace

Watch::Watch(int number, Watched watched)
    : gateway_(std::move(watched.gateway)), board_(number), log_(watched.logs) {
    const MutexLock guard(begun_);
    client::Handlers handlers;
    handlers.state = [this](const client::State& state) { TakeState(state); };
    client_.emplace(gateway_, std::move(handlers));
    client::BookOptions options;
    options.positionsEvery = kPositionsEvery;
    options.lifeLength = kLongestLife;
    options.changed = [this](const client::BookChange& change) { TakeBook(change); };
    book_.emplace(*client_, std::move(options));
    seconds_ = std::jthread([this](const std::stop_token& stop) { RunEverySecond(stop); });
    canceller_ = std::jthread([this](const std::stop_token& stop) { RunCancellations(stop); });
}

Watch::~Watch() {
    canceller_.request_stop(); // it ends once the request under way is answered, or its time over
    seconds_ = {};
    canceller_ = {};
    {
        const MutexLock guard(begun_);
        ended_ = true;
    }
    book_.reset();
    client_.reset();
}

std::optional<std::string> Watch::LifeOf(std::string_view reportId) const {
    const auto order = book_->Order(reportId);
    if (!order) return std::nullopt;
    return OrderLife(book_->LifeOf(reportId), book_->FillsOf(order->Text("OrderID")));
}

std::vector<std::string> Watch::WorkingOf(std::string_view accountMask) const {
    std::vector<std::string> working;
    for (const Message& order : book_->Orders(accountMask))
        if (IsWorking(order)) working.push_back(order.Text("ReportID"));
    return working;
}

void Watch::TakeState(const client::State& state) {
    board_.Put(Board::Parts, "link", StateRow(state));
    if (state.IsConnected()) hasFeed_ = true;
}

void Watch::TakeBook(const client::BookChange& change) {
    const MutexLock guard(begun_);
    if (ended_) return;
    if (change.reread) RereadBook();
    for (const std::string& id : change.orders)
        if (const auto order = book_->Order(id)) PutOrder(*order);
    for (const std::string& id : change.fills)
        if (const auto fill = book_->Fill(id)) PutFill(*fill);
    if (change.reread || !change.positions.empty())
        board_.Put(Board::Parts, "accounts", AccountsRow(book_->Accounts()));
    for (const std::string& mask : change.positions)
        board_.Put(Board::Parts, "positions " + mask, PositionsRow(mask, book_->Positions(mask)));
}

// Rows that are the same as before are no news to anybody, so only what is gone clears the tables.
void Watch::RereadBook() {
    const std::vector<Message> orders = book_->Orders();
    std::unordered_set<std::string> known;
    for (const Message& order : orders)
        known.insert(order.Text("ReportID"));
    const bool isGone = std::any_of(orders_.begin(), orders_.end(), [&known](const auto& each) {
        return !known.contains(each.first);
    });
    if (isGone) {
        board_.ClearBook();
        orders_.clear();
        fills_.clear();
    }
    for (const Message& order : orders)
        PutOrder(order);
    for (const Message& fill : book_->Fills())
        PutFill(fill);
}

void Watch::PutOrder(const Message& order) {
    const std::string id = order.Text("ReportID");
    const auto [birth, isNew] = orders_.try_emplace(id);
    if (isNew) {
        const auto life = book_->LifeOf(id);
        birth->second.place = static_cast<std::int64_t>(orders_.size());
        if (!life.empty()) birth->second.atMs = Ms(life.front().at);
        birth->second.older = !life.empty() && life.front().restored;
    }
    board_.Put(Board::Orders, id, OrderRow(order, birth->second));
}

void Watch::PutFill(const Message& fill) {
    const std::string id = fill.Text("ReportID");
    const auto [birth, isNew] = fills_.try_emplace(id);
    if (isNew) birth->second.place = static_cast<std::int64_t>(fills_.size());
    board_.Put(Board::Fills, id, FillRow(fill, birth->second));
}

void Watch::RunEverySecond(const std::stop_token& stop) {
    board_.Put(Board::Parts, "log", log_.Row());
    for (int second = 0; !stop.stop_requested(); ++second) {
        AskHowItIs(second);
        if (log_.Poll()) board_.Put(Board::Parts, "log", log_.Row());
        TheClock().Sleep(1000, stop);
    }
}

void Watch::AskHowItIs(int second) {
    if (!client_->GetState().IsConnected()) return;
    if (statusUnderWay_ == 0) {
        ++statusUnderWay_;
        client_->Ask("STATUS", {}, kStatusTimeout, [this](const Answer& answer) {
            --statusUnderWay_;
            TakeStatus(answer);
        });
    }
    if (second % kFundsEvery == 0 && fundsUnderWay_ == 0) AskForFunds();
    if (second % kFeedEvery == 0 && hasFeed_)
        client_->Ask("FEEDSTATUS", {}, kStatusTimeout,
                     [this](const Answer& answer) { TakeFeed(answer); });
}

void Watch::AskForFunds() {
    for (const Message& account : book_->Accounts()) {
        const std::string mask = account.Text("AccountMask");
        client::Members members;
        members.Text("AccountMask", mask);
        ++fundsUnderWay_;
        client_->Ask("MARGINS", members, kListTimeout, [this, mask](const Answer& answer) {
            --fundsUnderWay_;
            if (answer)
                board_.Put(Board::Parts, "funds " + mask,
                           FundsRow(mask, answer.message.Rows("Margins")));
        });
    }
}

void Watch::TakeStatus(const Answer& answer) {
    const std::int64_t nowMs = TheClock().UnixTimeMs();
    if (answer) {
        board_.Put(Board::Parts, "status", StatusRow(answer.message, nowMs));
        TakeRates(answer.message, nowMs);
    } else if (answer.outcome == Answer::Outcome::Refused) {
        JsonText row;
        board_.Put(Board::Parts, "status", row.Member("part", "status").Flag("Off", true).Finish());
    }
}

void Watch::TakeFeed(const Answer& answer) {
    if (answer.outcome == Answer::Outcome::Refused) hasFeed_ = false;
    if (answer || !hasFeed_)
        board_.Put(Board::Parts, "feed", FeedRow(answer ? answer.message : Message()));
}

// A gateway that has started anew counts from 0.
void Watch::TakeRates(const Message& status, std::int64_t nowMs) {
    const Totals now{status.Text("Started"), nowMs, SumOf(status.Rows("Operations")),
                     SumOf(status.Rows("Publications"))};
    const Totals before = std::exchange(last_, now);
    if (before.started != now.started) pointFrom_ = now;
    const auto rates = [&now](const Totals& from) {
        const double seconds = static_cast<double>(now.atMs - from.atMs) / 1000;
        JsonText row;
        row.Member("part", "rates").Number("At", now.atMs);
        row.Number("Requests", (now.requests - from.requests) / seconds);
        row.Number("Publications", (now.publications - from.publications) / seconds);
        return row.Finish();
    };
    if (before.started == now.started && now.atMs > before.atMs)
        board_.Put(Board::Parts, "rates", rates(before));
    if (now.atMs - pointFrom_.atMs < kPointMs) return;
    board_.Put(Board::Points, std::to_string(now.atMs), rates(pointFrom_));
    board_.KeepNewest(Board::Points, kMostPoints);
    pointFrom_ = now;
}

void Watch::Cancel(std::vector<std::string> reportIds, Cancelled then) {
    cancellations_.Post({std::move(reportIds), std::move(then)});
}

void Watch::RunCancellations(const std::stop_token& stop) {
    while (auto next = cancellations_.Next(stop))
        next->then(CancelAll(next->reportIds));
}

// One after the other: what is not answered ends the rest, since nobody could say what became of
// it.
std::string Watch::CancelAll(const std::vector<std::string>& reportIds) {
    std::int64_t taken = 0;
    JsonText result;
    result.BeginArray("failed");
    auto id = reportIds.begin();
    for (bool answered = true; answered && id != reportIds.end(); ++id) {
        const Answer answer =
            client_->Ask("CANCELORDER", client::Param({{"ReportID", *id}}), kCancelTimeout);
        answered = answer || answer.outcome == Answer::Outcome::Refused;
        if (answer) {
            ++taken;
            continue;
        }
        JsonText failed;
        result.Raw(failed.Member("ReportID", *id).Member("why", Reason(answer)).Finish());
    }
    result.EndArray();
    result.Number("taken", taken).Number("left", std::int64_t{reportIds.end() - id});
    return result.Finish();
}

} // namespace halvane::desk
