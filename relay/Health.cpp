#include "relay/Health.h"

#include "foundation/support/Clock.h"
#include "foundation/support/Utf.h"

#include <algorithm>
#include <numeric>

namespace halvane::relay {

void Health::NoteStored(const Row& row) {
    constexpr std::int64_t kMsNs = 1'000'000;
    Tally& tally = tallies_[row.desk];
    tally.stored++;
    tally.header = row.behind.empty() ? row.header : row.behind;
    const std::int64_t lagMs = (TheClock().UnixTimeNs() - row.timeNs) / kMsNs;
    const auto last = static_cast<std::int64_t>(tally.lagsMs.size() - 1);
    tally.lagsMs[static_cast<std::size_t>(std::clamp<std::int64_t>(lagMs, 0, last))]++;
}

void Health::NoteStart(std::size_t desk, const std::optional<Position>& position) {
    tallies_[desk].header = position ? position->header : "";
}

void Health::NoteEngine(bool connected, const std::string& trouble) {
    if (connected_ && !connected) losses_++;
    connected_ = connected;
    trouble_ = trouble;
}

void Health::BeginMinute() {
    for (Tally& tally : tallies_)
        tally.lagsMs.fill(0);
}

std::int64_t Health::LagMs(const Tally& tally, double part) {
    const auto all = std::accumulate(tally.lagsMs.begin(), tally.lagsMs.end(), std::uint64_t{0});
    double left = static_cast<double>(all) * part;
    for (std::size_t ms = 0; ms < tally.lagsMs.size(); ms++) {
        left -= tally.lagsMs[ms];
        if (left <= 0) return static_cast<std::int64_t>(ms);
    }
    return static_cast<std::int64_t>(tally.lagsMs.size());
}

std::string Health::Status(const std::vector<std::unique_ptr<Desk>>& desks,
                           const Requests& requests) const {
    std::string rows;
    for (const auto& desk : desks) {
        const Tally& tally = tallies_[desk->Index()];
        const Requests::Counts counts = requests.CountsOf(desk->Index());
        const Position position = PositionIn(tally.header).value_or(Position{});
        const std::string trouble = desk->Trouble();
        const std::int64_t last = desk->GetFeedState().last;
        const client::Members row{
            {"Desk", desk->Name()},
            {"Live", trouble.empty() ? "1" : "0"},
            {"Trouble", trouble},
            {"Number", std::to_string(position.number)},
            {"Run", position.run},
            {"Behind", std::to_string(std::max<std::int64_t>(last - position.number, 0))},
            {"Stored", std::to_string(tally.stored)},
            {"LagP50Ms", std::to_string(LagMs(tally, 0.5))},
            {"LagP99Ms", std::to_string(LagMs(tally, 0.99))},
            {"Connects", std::to_string(desk->Connects())},
            {"Requests", std::to_string(counts.asked)},
            {"RequestsFailed", std::to_string(counts.failed)},
        };
        rows += (rows.empty() ? "{" : ",{") + row.Inside() + "}";
    }
    client::Members status{{"Time", ToUtf8(UtcText(TheClock().UnixTimeMs()))},
                           {"Engine", connected_ ? "1" : "0"},
                           {"Trouble", trouble_},
                           {"Losses", std::to_string(losses_)}};
    return "{" + status.Json("Desks", "[" + rows + "]").Inside() + "}";
}

std::vector<std::string> Health::Lines(const std::vector<std::unique_ptr<Desk>>& desks,
                                       const Requests& requests) const {
    const auto status = client::Message::Parse(Status(desks, requests));
    std::vector<std::string> lines;
    if (!connected_) lines.push_back("engine: " + trouble_);
    for (const client::Message& desk : status->Rows("Desks")) {
        std::string line = desk.Text("Desk") + ":";
        for (const char* each : {"Number", "Behind", "LagP50Ms", "LagP99Ms", "Stored", "Connects",
                                 "Requests", "RequestsFailed", "Trouble"})
            if (!desk.Text(each).empty()) line += std::string(" ") + each + "=" + desk.Text(each);
        lines.push_back(line);
    }
    return lines;
}

} // namespace halvane::relay
