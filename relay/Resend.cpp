#include "relay/Resend.h"

#include "relay/Log.h"
#include "relay/Reader.h"
#include "relay/Stream.h"

#include <unordered_set>

namespace halvane::relay {
namespace {

constexpr client::Duration kConnectPatience{10'000};
constexpr std::chrono::milliseconds kRowsPatience{200};
constexpr std::int64_t kClocksApartNs = 600'000'000'000; // the engine's and a gateway's

// Where in a journal it begins.
struct Start {
    std::int64_t number = 0, timeNs = 0;
    std::string journal;
};

std::optional<Start> StartOf(Desk& desk, const std::string& from) {
    if (!desk.GetClient().WaitConnected(kConnectPatience))
        throw NatsFault(desk.Name() + ": " + desk.Trouble());
    const auto timeNs = TimeNsOf(from);
    const client::Answer page =
        timeNs ? desk.GetClient().Ask("FEEDREPLAY", {{"Since", std::to_string(*timeNs)}})
               : desk.GetClient().Ask("FEEDREPLAY", {{"From", from}});
    if (!page) throw NatsFault(desk.Name() + ": " + page.error);
    const std::vector<client::Message> events = page.message.Rows("Events");
    if (events.empty()) return {};
    return Start{NumberOf(events[0].Text("Number")).value_or(0),
                 NumberOf(events[0].Text("Time")).value_or(0), page.message.Text("Journal")};
}

std::unordered_set<std::string> IdsInStream(const Engine& engine, const std::string& desk,
                                            std::int64_t sinceNs, const std::stop_token& stop) {
    std::unordered_set<std::string> ids;
    jsSubOptions wanted;
    jsSubOptions_Init(&wanted);
    wanted.Config.HeadersOnly = true;
    wanted.Config.DeliverPolicy = js_DeliverByStartTime;
    wanted.Config.OptStartTime = sinceNs;
    ForEachRow(
        engine, "halvane.feed." + desk + ".>", wanted, false,
        [&](natsMsg* row) { ids.insert(HeaderIn(row, "Nats-Msg-Id")); }, stop);
    return ids;
}

std::int64_t ResendDesk(Stream& stream, Outbox& outbox, Desk& desk, const Options& options,
                        const std::stop_token& stop) {
    const std::optional<Position> position = stream.PositionOf(desk.Name());
    const std::optional<Start> start = StartOf(desk, options.from);
    if (!position || !start || start->number > position->number) return 0;
    if (start->journal != position->journal)
        throw NatsFault(desk.Name() + ": the gateway has another journal now");
    const auto ids = IdsInStream(options.engine, desk.Name(), start->timeNs - kClocksApartNs, stop);
    desk.SetLargestRow(stream.LargestRow());
    outbox.Open();
    desk.Begin(Position{.number = start->number - 1, .journal = position->journal});
    std::int64_t sent = 0;
    std::vector<Row> rows;
    for (bool all = false; !all && !stop.stop_requested();) {
        outbox.Take(rows, kRowsPatience);
        for (Row& row : rows) {
            all = all || row.number >= position->number;
            if (row.number > position->number || ids.contains(row.id)) continue;
            row.behind = position->header;
            stream.Publish(std::move(row));
            sent++;
        }
        stream.TakeAcks(0);
        all = all || (rows.empty() && desk.Trouble().empty());
    }
    outbox.Close();
    desk.End();
    while (!stream.IsIdle())
        stream.TakeAcks(100);
    return sent;
}

} // namespace

void Resend(const Options& options, const std::stop_token& stop) {
    Stream stream(options.engine, [](const Row&) {});
    Outbox outbox;
    for (const DeskOptions& each : options.desks) {
        if (!options.onlyDesk.empty() && each.name != options.onlyDesk) continue;
        Desk desk(each, 0, outbox);
        const std::int64_t sent = ResendDesk(stream, outbox, desk, options, stop);
        Say(desk.Name() + ": " + std::to_string(sent) + " rows sent again");
    }
}

} // namespace halvane::relay
