#include "clients/cpp/BookCore.h"

#include "foundation/support/Clock.h"

#include <algorithm>

namespace halvane::client {
namespace {

constexpr std::int64_t kRestUs =
    3'000'000; // between two readings: a platform in trouble may ask for many
constexpr Duration kRetryReading{3'000};
constexpr Duration kSettling{100}; // of a position, after what was published

std::string LastIndexIn(const std::vector<Message>& rows) {
    return rows.size() < kPage ? std::string() : rows.back().Text("QryIndex");
}

} // namespace

const Book::Core::List Book::Core::kLists[] = {
    {"RESTOREREPORT", [](Records& book, const Message& row) { book.RestoreOrder(row); }},
    {"RESTOREFILLREPORT",
     [](Records& book, const Message& row) { static_cast<void>(book.AddFill(row)); }},
};

Book::Core::Core(Client::Core& client, BookOptions options)
    : lives(std::max<std::size_t>(options.lifeLength, 1)), client_(client),
      options_(std::move(options)) {
    client_.Follow(this);
}

Book::Core::~Core() { client_.Forget(this); }

void Book::Core::Ask(const char* name, const Members& members,
                     std::function<void(const Answer&)> then) {
    auto request = std::make_unique<Request>();
    request->name = name;
    request->members = members.Inside();
    request->heavy = true;
    request->thisLinkOnly = true;
    request->owner = this;
    request->endUs = SteadyTimeUs() + std::chrono::microseconds(kHeavyPatience).count();
    request->then = std::move(then);
    client_.Submit(std::move(request));
}

bool Book::Core::IsMine(const Message& row) const {
    // The platform may tell of a report and know nothing of it when the gateway asks.
    if (row.Text("ReportID").empty()) return false;
    return options_.account.empty() || MaskOf(row) == options_.account;
}

// --- reading -----------------------------------------------------------------------------------

void Book::Core::OnConnected() {
    heard_ = false;
    link_++;
    restUntilUs_ = 0;
    ReadSoon();
    RepeatPositions();
}

void Book::Core::OnLost() {
    client_.CancelAllOf(this);
    next_.reset();
    again_ = readingSoon_ = askingPositions_ = positionsScheduled_ = false;
    const MutexLock guard(lock);
    live = complete = false;
    Tell([](BookChange&) {});
}

void Book::Core::ReadSoon() {
    if (next_ || readingSoon_) {
        again_ = true;
        return;
    }
    readingSoon_ = true;
    const std::int64_t restUs = std::max<std::int64_t>(restUntilUs_ - SteadyTimeUs(), 0);
    client_.After(Duration(restUs / 1000), this, [this] { Read(); });
}

void Book::Core::Read() {
    readingSoon_ = again_ = false;
    heardBefore_ = heard_;
    resetsBefore_ = resets_;
    next_ = std::make_unique<Records>();
    AskPage(0, "0");
}

void Book::Core::AskPage(std::size_t list, const std::string& index) {
    Ask(kLists[list].request, {{"QryIndex", index}},
        [this, list](const Answer& answer) { TakePage(list, answer); });
}

void Book::Core::TakePage(std::size_t list, const Answer& answer) {
    if (!next_) return;
    if (!answer) return FailToRead(answer);
    if (resets_ != resetsBefore_) return Read();
    const std::vector<Message> rows = answer.message.Rows("Orders");
    for (const Message& row : rows) {
        if (IsMine(row)) kLists[list].take(*next_, row);
    }
    const std::string index = LastIndexIn(rows);
    if (!index.empty()) return AskPage(list, index);
    if (list + 1 < std::size(kLists)) return AskPage(list + 1, "0");
    Succeed();
}

void Book::Core::FailToRead(const Answer& answer) {
    next_.reset();
    if (answer.outcome == Answer::Outcome::Gone) return; // the next connection begins anew
    readingSoon_ = true;
    client_.After(kRetryReading, this, [this] { Read(); });
}

// Nothing here waits, so that nobody sees half of it.
void Book::Core::Succeed() {
    {
        const MutexLock guard(lock);
        if (readOver_ == link_ && readAfter_ == resets_) next_->CarryOver(records);
        next_->KeepForms(records);
        records = std::move(*next_);
        for (const Message& order : records.Orders().All())
            lives.Restored(order, Now());
        live = true;
        complete = heardBefore_;
        Tell([](BookChange& change) { change.reread = true; });
    }
    becameLive.notify_all();
    next_.reset();
    readOver_ = link_;
    readAfter_ = resets_;
    restUntilUs_ = heardBefore_ ? SteadyTimeUs() + kRestUs : 0;
    if (std::exchange(again_, false)) ReadSoon();
    AskAccounts();
}

// --- publications ------------------------------------------------------------------------------

void Book::Core::OnPublication(const Message& publication) {
    if (!heard_) {
        // Only now is it certain that the subscription holds: what was read before may have holes.
        heard_ = true;
        ReadSoon();
    }
    const std::string kind = publication.Text("DataType");
    if (kind == "EXECUTIONREPORT") TakeReport(publication.Object("Report"));
    if (kind == "FILLEDREPORT") TakeFill(publication.Object("Report"));
    if (kind == "REPORTRESET") TakeReset();
    if (kind == "ACCOUNTS") {
        // They come when the platform has come back: what it held back until then is missing.
        TakeAccounts(publication.Rows("Accounts"));
        ReadSoon();
    }
}

void Book::Core::TakeReport(const Message& report) {
    if (!IsMine(report)) return;
    if (next_) next_->PublishOrder(report);
    {
        const MutexLock guard(lock);
        lives.Published(report, Now());
        if (live) {
            records.PublishOrder(report);
            Tell([&](BookChange& change) { change.orders.insert(report.Text("ReportID")); });
        }
    }
    WantPositions(MaskOf(report), kSettling);
}

void Book::Core::TakeFill(const Message& fill) {
    if (!IsMine(fill)) return;
    if (next_) static_cast<void>(next_->AddFill(fill));
    {
        const MutexLock guard(lock);
        if (live && records.AddFill(fill)) {
            Tell([&](BookChange& change) { change.fills.insert(fill.Text("ReportID")); });
        }
    }
    WantPositions(MaskOf(fill), kSettling);
}

void Book::Core::TakeReset() {
    resets_++;
    {
        const MutexLock guard(lock);
        lives.Clear();
    }
    ReadSoon();
}

void Book::Core::Tell(const std::function<void(BookChange&)>& note) {
    if (!options_.changed) return;
    note(change_);
    if (std::exchange(telling_, true)) return;
    client_.GetTeller().Tell(this, [this] {
        BookChange told;
        {
            const MutexLock guard(lock);
            std::swap(told, change_);
            told.live = live;
            telling_ = false;
        }
        options_.changed(told);
    });
}

// --- accounts and positions --------------------------------------------------------------------

void Book::Core::AskAccounts() {
    Ask("ACCOUNTS", {}, [this](const Answer& answer) {
        if (answer) TakeAccounts(answer.message.Rows("Accounts"));
    });
}

void Book::Core::TakeAccounts(std::vector<Message> rows) {
    std::erase_if(rows, [this](const Message& row) {
        return !options_.account.empty() && row.Text("AccountMask") != options_.account;
    });
    {
        const MutexLock guard(lock);
        accounts = rows;
    }
    for (const Message& row : rows)
        WantPositions(row.Text("AccountMask"), {});
}

void Book::Core::RefreshPositions() {
    client_.Post([this] {
        asked_.clear();
        WantAllPositions();
    });
}

void Book::Core::WantAllPositions() {
    std::vector<Message> all;
    {
        const MutexLock guard(lock);
        all = accounts;
    }
    for (const Message& row : all)
        WantPositions(row.Text("AccountMask"), {});
}

void Book::Core::RepeatPositions() {
    if (options_.positionsEvery <= Duration{0}) return;
    client_.After(options_.positionsEvery, this, [this] {
        RepeatPositions();
        WantAllPositions();
    });
}

void Book::Core::WantPositions(const std::string& mask, Duration delay) {
    if (!options_.positions) return;
    const auto us = [](Duration time) { return std::chrono::microseconds(time).count(); };
    const auto asked = asked_.find(mask);
    std::int64_t from = SteadyTimeUs() + us(delay);
    if (asked != asked_.end()) from = std::max(from, asked->second + us(options_.positionsGap));
    due_.try_emplace(mask, from);
    SchedulePositions();
}

void Book::Core::SchedulePositions() {
    if (askingPositions_ || positionsScheduled_ || due_.empty() || !client_.IsUp()) return;
    const auto next = std::min_element(
        due_.begin(), due_.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
    positionsScheduled_ = true;
    const std::int64_t waitUs = std::max<std::int64_t>(next->second - SteadyTimeUs(), 0);
    client_.After(Duration(waitUs / 1000 + 1), this, [this, mask = next->first] {
        positionsScheduled_ = false;
        askingPositions_ = true;
        due_.erase(mask);
        asked_[mask] = SteadyTimeUs();
        positionRows_.clear();
        AskPositions(mask, "0");
    });
}

void Book::Core::AskPositions(const std::string& mask, const std::string& index) {
    Ask("POSITIONS", {{"AccountMask", mask}, {"QryIndex", index}},
        [this, mask](const Answer& answer) { TakePositions(mask, answer); });
}

void Book::Core::TakePositions(const std::string& mask, const Answer& answer) {
    if (answer) {
        const std::vector<Message> rows = answer.message.Rows("Positions");
        positionRows_.insert(positionRows_.end(), rows.begin(), rows.end());
        const std::string index = LastIndexIn(rows);
        if (!index.empty()) return AskPositions(mask, index);
        const MutexLock guard(lock);
        positions[mask] = {std::move(positionRows_), Now()};
        Tell([&](BookChange& change) { change.positions.insert(mask); });
    }
    positionRows_.clear();
    askingPositions_ = false;
    SchedulePositions();
}

} // namespace halvane::client
