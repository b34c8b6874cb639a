#include "relay/Desk.h"

namespace halvane::relay {
namespace {

// Whether the gateway's own journal states that gap.
bool States(const client::FeedRow& row, std::int64_t first, std::int64_t last) {
    return row.publication.Text("DataType") == "FEEDGAP" &&
           row.publication.Text("From") == std::to_string(first) &&
           row.publication.Text("To") == std::to_string(last);
}

client::Handlers Counting(std::atomic<int>& connects) {
    client::Handlers handlers;
    handlers.state = [&connects](const client::State& state) {
        if (state.IsConnected()) connects++;
    };
    return handlers;
}

} // namespace

Desk::Desk(DeskOptions options, std::size_t index, Outbox& outbox)
    : options_(std::move(options)), index_(index), outbox_(outbox),
      client_(options_.gateway, Counting(connects_)) {}

void Desk::Begin(const std::optional<Position>& position) {
    missing_.reset();
    client::FeedOptions options;
    options.from = position ? position->number + 1 : 1;
    options.journal = position ? position->journal : "";
    options.run = position ? position->run : "";
    options.row = [this](const client::FeedRow& row) { Take(row); };
    options.missing = [this](std::int64_t first, std::int64_t last) {
        missing_ = {missing_ ? missing_->first : first, last};
    };
    feed_ = std::make_unique<client::Feed>(client_, std::move(options));
}

void Desk::End() { feed_.reset(); }

void Desk::Take(const client::FeedRow& row) {
    if (missing_) {
        const auto [first, last] = *std::exchange(missing_, std::nullopt);
        if (!States(row, first, last)) StateGap(row, first, last);
    }
    if (row.publication.Json().size() > largest_) return StateGap(row, row.number, row.number);
    outbox_.Put(RowOf(row, index_, options_.name));
}

void Desk::StateGap(const client::FeedRow& next, std::int64_t first, std::int64_t last) {
    outbox_.Put(GapBefore(next, first, last, index_, options_.name));
}

client::FeedState Desk::GetFeedState() const {
    return feed_ ? feed_->GetState() : client::FeedState{};
}

std::string Desk::Trouble() const {
    const client::State state = client_.GetState();
    if (!state.IsConnected()) return state.reason.empty() ? "connecting" : state.reason;
    if (!feed_) return "the engine is away";
    const client::FeedState feed = feed_->GetState();
    return feed.live ? "" : feed.reason.empty() ? "connecting" : feed.reason;
}

} // namespace halvane::relay
