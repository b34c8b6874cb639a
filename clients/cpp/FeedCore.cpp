#include "clients/cpp/FeedCore.h"

#include "foundation/support/Clock.h"

#include <algorithm>
#include <charconv>
#include <sstream>

namespace halvane::client {
namespace {

constexpr Duration kAskAgain{1'000};
constexpr Duration kPagePatience{10'000};
constexpr std::size_t kMostWaiting = 10'000;
constexpr int kMessagesAtOnce = 1'000;
constexpr std::int64_t kStepBack = 400; // rows: less than a page
constexpr std::string_view kHello = "FEEDHELLO";
constexpr std::string_view kBeat = "FEEDBEAT";

std::int64_t NumberOf(const std::string& text) {
    std::int64_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::string Escaped(const std::string& part) {
    std::string escaped;
    for (const char c : part) {
        if (c == '.') {
            escaped += "%2E";
        } else if (c == '%') {
            escaped += "%25";
        } else {
            escaped += c;
        }
    }
    return escaped;
}

// As the feed's own topics.
std::string TopicOf(const Message& publication) {
    const char* body = publication.Has("Report") ? "Report" : "Data";
    return Escaped(publication.Text("DataType")) + "." +
           Escaped(publication.TextIn(body, "Account")) + "." + publication.TextIn(body, "Symbol");
}

std::optional<FeedRow> RowIn(const Frames& frames) {
    std::optional<Message> publication = Message::Parse(frames[2]);
    if (!publication) return {};
    FeedRow row;
    std::string origin;
    std::istringstream(frames[1]) >> row.number >> row.run >> row.timeNs >> origin;
    row.recovered = origin == "recovered";
    row.topic = frames[0];
    row.publication = std::move(*publication);
    return row;
}

FeedRow RowOf(const Message& event) {
    FeedRow row;
    row.number = NumberOf(event.Text("Number"));
    row.run = event.Text("Run");
    row.timeNs = NumberOf(event.Text("Time"));
    row.recovered = event.Text("Recovered") == "1";
    row.publication = event.Object("Publication");
    row.topic = TopicOf(row.publication);
    return row;
}

} // namespace

Feed::Core::Core(Client::Core& client, FeedOptions options)
    : client_(client), options_(std::move(options)), journal_(options_.journal), run_(options_.run),
      next_(std::max<std::int64_t>(options_.from, 0)) {
    client_.Follow(this);
}

Feed::Core::~Core() { client_.Forget(this); }

FeedState Feed::Core::GetState() const {
    const MutexLock guard(lock_);
    return state_;
}

void Feed::Core::Ask(const char* name, const Members& members,
                     std::function<void(const Answer&)> then) {
    auto request = std::make_unique<Request>();
    request->name = name;
    request->members = members.Inside();
    request->thisLinkOnly = true;
    request->owner = this;
    request->endUs = SteadyTimeUs() + std::chrono::microseconds(kPagePatience).count();
    request->then = std::move(then);
    client_.Submit(std::move(request));
}

// --- coming and going --------------------------------------------------------------------------

void Feed::Core::OnConnected() { AskStatus(); }

void Feed::Core::OnLost() {
    client_.CancelAllOf(this);
    connection_.reset();
    waiting_.clear();
    asking_ = again_ = false;
    SetState(GetState().available, false, "the gateway is away");
}

void Feed::Core::AskStatus() {
    Ask("FEEDSTATUS", {}, [this](const Answer& answer) { TakeStatus(answer); });
}

void Feed::Core::TakeStatus(const Answer& answer) {
    if (answer.outcome == Answer::Outcome::Gone) return;
    const int port = answer ? std::atoi(answer.message.Text("Port").c_str()) : 0;
    if (port == 0) {
        const bool none = answer.error == "Undefined";
        SetState(bool(answer), false,
                 none     ? "the gateway has no feed"
                 : answer ? "the feed has no port yet"
                          : answer.error);
        if (!none) client_.After(kAskAgain, this, [this] { AskStatus(); });
        return;
    }
    TakeJournal(answer.message.Text("Journal"));
    if (next_ == 0) next_ = NumberOf(answer.message.Text("Last")) + 1;
    NoteLast(NumberOf(answer.message.Text("Last")));
    port_ = port;
    ofKnownRun_ = 0;
    const bool mayTurn = next_ > 1 && !run_.empty() && run_ != answer.message.Text("Run");
    return mayTurn ? FindTurn(next_ - 1) : OpenFeed();
}

void Feed::Core::OpenFeed() {
    connection_ = client_.OpenSubscription(port_);
    SetState(true, false, "catching up");
}

// A power cut may have taken numbers, which a later run has given again. It goes on where the rows
// of later runs begin, when that is not behind what it has had. Runs begin with their time.
void Feed::Core::FindTurn(std::int64_t from) {
    Ask("FEEDREPLAY", {{"From", std::to_string(from)}},
        [this, from](const Answer& page) { TakeTurn(from, page); });
}

void Feed::Core::TakeTurn(std::int64_t from, const Answer& page) {
    if (page.outcome == Answer::Outcome::Gone) return;
    if (!page) {
        SetState(true, false, page.error);
        client_.After(kAskAgain, this, [this] { AskStatus(); });
        return;
    }
    std::int64_t turn = 0;
    for (const Message& event : page.message.Rows("Events")) {
        const std::int64_t number = NumberOf(event.Text("Number"));
        if (event.Text("Run") > run_) {
            turn = number;
            break;
        }
        ofKnownRun_ = number;
    }
    if (ofKnownRun_ == 0 && from > 1) return FindTurn(std::max<std::int64_t>(from - kStepBack, 1));
    const std::int64_t next = NumberOf(page.message.Text("Next"));
    if (turn == 0 && next < next_ && page.message.Text("More") == "1") return FindTurn(next);
    next_ = std::min(next_, turn != 0 ? turn : std::max<std::int64_t>(next, 1));
    OpenFeed();
}

// Numbers of another journal mean nothing here.
void Feed::Core::TakeJournal(const std::string& journal) {
    if (journal.empty() || journal == journal_) return;
    if (!journal_.empty()) {
        next_ = 1;
        run_.clear();
        waiting_.clear();
    }
    journal_ = journal;
}

// --- rows --------------------------------------------------------------------------------------

void Feed::Core::OnReadable() {
    if (connection_->LookForChange() == Connection::Change::Gone) {
        connection_.reset();
        SetState(true, false, "the feed's connection is lost");
        client_.After(kAskAgain, this, [this] { AskStatus(); });
        return;
    }
    Frames frames;
    for (int i = 0; i < kMessagesAtOnce && connection_->Receive(frames); i++)
        TakeMessage(frames);
}

void Feed::Core::TakeMessage(const Frames& frames) {
    if (frames[0] == kHello) return CatchUp();
    if (frames.size() != 3) return;
    if (frames[0] == kBeat) {
        if (const auto beat = Message::Parse(frames[2])) TakeBeat(*beat);
        return;
    }
    std::optional<FeedRow> row = RowIn(frames);
    if (!row || row->number < next_) return;
    if (row->number == next_ && HasRoom() && !asking_) return Deliver(std::move(*row));
    if (waiting_.size() < kMostWaiting) waiting_.emplace(row->number, std::move(*row));
    CatchUp();
}

void Feed::Core::TakeBeat(const Message& beat) {
    TakeJournal(beat.Text("Journal"));
    const std::int64_t last = NumberOf(beat.Text("Last"));
    NoteLast(last);
    if (last >= next_) return CatchUp();
    if (last + 1 < next_ && !asking_) {
        next_ = last + 1; // a power cut has taken what it had; the numbers are given again
        waiting_.clear();
    }
}

void Feed::Core::CatchUp() {
    again_ = true;
    if (asking_) return;
    if (!HasRoom()) {
        waits_ = true;
        if (!HasRoom()) return; // who makes room calls again
    }
    again_ = false;
    asking_ = true;
    Ask("FEEDREPLAY", {{"From", std::to_string(next_)}},
        [this](const Answer& answer) { TakePage(answer); });
}

void Feed::Core::TakePage(const Answer& answer) {
    asking_ = false;
    if (answer.outcome == Answer::Outcome::Gone) return;
    if (!answer) {
        SetState(true, false, answer.error);
        client_.After(kAskAgain, this, [this] { CatchUp(); });
        return;
    }
    TakeJournal(answer.message.Text("Journal"));
    NoteLast(NumberOf(answer.message.Text("Last")));
    for (const Message& event : answer.message.Rows("Events"))
        TakeEvent(event);
    const std::int64_t next = NumberOf(answer.message.Text("Next"));
    if (answer.message.Text("More") == "1") {
        if (next > next_) Miss(next_, next - 1);
        return CatchUp();
    }
    UseWaiting();
    if (!waiting_.empty()) return CatchUp();
    SetState(true, true, {});
}

void Feed::Core::TakeEvent(const Message& event) {
    FeedRow row = RowOf(event);
    if (row.number < next_) return;
    if (row.number > next_) Miss(next_, row.number - 1);
    Deliver(std::move(row));
}

// What came while the gap was being closed.
void Feed::Core::UseWaiting() {
    while (!waiting_.empty() && waiting_.begin()->first <= next_ && HasRoom()) {
        auto first = waiting_.extract(waiting_.begin());
        if (first.key() == next_) Deliver(std::move(first.mapped()));
    }
}

void Feed::Core::NoteLast(std::int64_t last) {
    const MutexLock guard(lock_);
    state_.last = last;
}

void Feed::Core::Deliver(FeedRow row) {
    next_ = row.number + 1;
    row.journal = journal_;
    run_ = row.run;
    {
        const MutexLock guard(lock_);
        state_.next = next_;
    }
    if (!options_.row) return;
    untold_++;
    client_.GetTeller().Tell(this, [this, told = std::move(row)] {
        const struct Leave {
            Core& core;
            ~Leave() { core.Handled(); } // also when the handler throws
        } leave{*this};
        options_.row(told);
    });
}

void Feed::Core::Handled() {
    if (--untold_ <= kMostUntold / 2 && waits_.exchange(false)) {
        client_.Post([this] { CatchUp(); });
    }
}

void Feed::Core::Miss(std::int64_t first, std::int64_t last) {
    next_ = last + 1;
    if (!options_.missing) return;
    client_.GetTeller().Tell(this, [=, this] { options_.missing(first, last); });
}

void Feed::Core::SetState(bool available, bool live, const std::string& reason) {
    FeedState told;
    {
        const MutexLock guard(lock_);
        const bool isSame = state_.available == available && state_.live == live &&
                            state_.reason == reason && state_.journal == journal_;
        state_ = {available, live, next_, state_.last, journal_, reason};
        if (isSame) return;
        told = state_;
    }
    if (options_.state) client_.GetTeller().Tell(this, [this, told] { options_.state(told); });
}

} // namespace halvane::client
