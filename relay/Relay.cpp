#include "relay/Relay.h"

#include "foundation/support/Clock.h"
#include "relay/Log.h"

namespace halvane::relay {
namespace {

constexpr std::uint32_t kReopenMs = 500;
constexpr std::chrono::milliseconds kIdlePatience{50};
constexpr int kAckPatienceMs = 1; // while rows may come as well
constexpr int kAcksEvery = 64;    // rows
constexpr std::int64_t kStatusEveryUs = 2'000'000;
constexpr std::int64_t kLinesEveryUs = 60'000'000;
constexpr std::int64_t kFarewellUs = 3'000'000;

} // namespace

Relay::Relay(const Options& options)
    : options_(options), health_(options.desks.size()),
      requests_(options.engine, options.desks, options.requestPatience) {
    for (const DeskOptions& desk : options.desks)
        desks_.push_back(std::make_unique<Desk>(desk, desks_.size(), outbox_));
}

void Relay::Run(const std::stop_token& stop) {
    do {
        try {
            Follow(stop);
        } catch (const NatsFault& fault) {
            health_.NoteEngine(false, fault.what());
            if (seldom_.IsDue(fault.what())) Say("engine: " + std::string(fault.what()));
        }
        outbox_.Close();
        for (const auto& desk : desks_)
            desk->End();
        TellWhenDue();
    } while (TheClock().Sleep(kReopenMs, stop));
}

void Relay::Follow(const std::stop_token& stop) {
    Stream stream(options_.engine, [this](const Row& row) { health_.NoteStored(row); });
    outbox_.Open();
    for (const auto& desk : desks_) {
        const std::optional<Position> position = stream.PositionOf(desk->Name());
        health_.NoteStart(desk->Index(), position);
        Say(desk->Name() + ": goes on behind number " +
            std::to_string(position ? position->number : 0));
        desk->SetLargestRow(stream.LargestRow());
        desk->Begin(position);
    }
    health_.NoteEngine(true, "");
    std::vector<Row> rows;
    while (!stop.stop_requested()) {
        outbox_.Take(rows, stream.IsIdle() ? kIdlePatience : std::chrono::milliseconds{0});
        Publish(stream, rows);
        stream.TakeAcks(rows.empty() && !stream.IsIdle() ? kAckPatienceMs : 0);
        TellWhenDue();
    }
    Finish(stream);
}

void Relay::Publish(Stream& stream, std::vector<Row>& rows) {
    int sent = 0;
    for (Row& row : rows) {
        stream.Publish(std::move(row));
        if (++sent % kAcksEvery == 0) stream.TakeAcks(0);
    }
}

// What is under way would be found in the stream all the same.
void Relay::Finish(Stream& stream) {
    const std::int64_t endUs = SteadyTimeUs() + kFarewellUs;
    while (!stream.IsIdle() && SteadyTimeUs() < endUs)
        stream.TakeAcks(100);
}

void Relay::TellWhenDue() {
    const std::int64_t nowUs = SteadyTimeUs();
    if (nowUs >= statusUs_) {
        requests_.Publish("halvane.relay.status", health_.Status(desks_, requests_));
        statusUs_ = nowUs + kStatusEveryUs;
    }
    if (linesUs_ == 0) linesUs_ = nowUs + kLinesEveryUs;
    if (nowUs < linesUs_) return;
    for (const std::string& line : health_.Lines(desks_, requests_))
        Say(line);
    health_.BeginMinute();
    linesUs_ = nowUs + kLinesEveryUs;
}

} // namespace halvane::relay
