#include "clients/cpp/halvane.h"
#include "foundation/support/Mutex.h"

#include <atomic>
#include <iostream>

// Does with the client what lines of JSON on its input say, and answers each with one line: so the
// tests can be written where gateways are started and killed.
namespace halvane::client {
namespace {

Options OptionsIn(const Message& line) {
    Options options{line.Text("SystemName"), line.Text("ServiceKey")};
    if (line.Has("port")) options.port = std::stoi(line.Text("port"));
    options.pairedLine = line.Text("paired");
    return options;
}

Members MembersOf(const Message& object) {
    Members members;
    for (const std::string& key : object.Keys()) {
        if (object.Object(key).Keys().empty()) {
            members.Text(key, object.Text(key));
        } else {
            members.Object(key, MembersOf(object.Object(key)));
        }
    }
    return members;
}

Members Told(const Answer& answer) {
    constexpr const char* kOutcomes[] = {"Ok", "Refused", "TimedOut", "Gone", "Unfit"};
    Members told{{"outcome", kOutcomes[static_cast<int>(answer.outcome)]},
                 {"error", answer.error},
                 {"code", answer.code},
                 {"mayHaveArrived", answer.mayHaveArrived ? "1" : "0"}};
    return told.Json("message", answer.message.Json());
}

Members Told(const State& state) {
    constexpr const char* kKinds[] = {"Connecting", "Refused", "Connected", "Lost"};
    return {{"kind", kKinds[static_cast<int>(state.kind)]},
            {"reason", state.reason},
            {"since", std::to_string(state.since.time_since_epoch().count())},
            {"heard", state.heard ? "1" : "0"}};
}

std::string List(const std::vector<Message>& rows) {
    std::string list;
    for (const Message& row : rows)
        list.append(list.empty() ? "" : ",").append(row.Json());
    return "[" + list + "]";
}

class Driver {
  public:
    explicit Driver(const Message& line) : client_(OptionsIn(line), MakeHandlers()) {
        BookOptions options;
        options.positionsGap = Duration{300};
        options.changed = [this](const BookChange&) { changes_++; };
        if (line.Has("book")) book_.emplace(client_, options);
        if (line.Has("feed")) feed_.emplace(client_, MakeFeed(line));
    }

    Members Do(const Message& line) {
        const std::string what = line.Text("do");
        const Duration timeout{line.Has("timeout") ? std::stoi(line.Text("timeout")) : 0};
        if (what == "ask") {
            const std::string name = line.Text("name");
            return Told(client_.Ask(name == "not UTF-8" ? "\xFF" : name,
                                    MembersOf(line.Object("members")), timeout));
        }
        if (what == "begin") return Begin(line, timeout);
        if (what == "collect") return Collect();
        if (what == "connected") return {{"ok", client_.WaitConnected(timeout) ? "1" : "0"}};
        if (what == "live") return {{"ok", book_->WaitLive(timeout) ? "1" : "0"}};
        if (what == "life") return Life(line.Text("id"));
        if (what == "price") return {{"text", ReplacePrice(line.Text("price")).value_or("")}};
        if (what == "dump") return Dump();
        if (what == "feed") return ToldOf(feed_->GetState());
        return Told(client_.GetState())
            .Text("told", std::to_string(told_))
            .Text("changes", std::to_string(changes_))
            .Text("complete", book_ && book_->IsComplete() ? "1" : "0");
    }

  private:
    Handlers MakeHandlers() {
        Handlers handlers;
        handlers.publication = [this](const Message&) { told_++; };
        // One that never comes back would hold up nobody but the other handlers; one that asks
        // works.
        handlers.state = [this](const State& state) {
            if (state.IsConnected()) client_.Ask("PONG");
        };
        return handlers;
    }

    FeedOptions MakeFeed(const Message& line) {
        FeedOptions options;
        options.from = std::stoi(line.Text("feed"));
        options.row = [this](const FeedRow& row) {
            const MutexLock guard(lock_);
            rows_.push_back(
                Members{{"number", std::to_string(row.number)}, {"topic", row.topic}}.Json(
                    "publication", row.publication.Json()));
        };
        options.missing = [this](std::int64_t first, std::int64_t last) {
            const MutexLock guard(lock_);
            missing_ += static_cast<int>(last - first + 1);
        };
        return options;
    }

    Members ToldOf(const FeedState& state) {
        const MutexLock guard(lock_);
        std::string rows;
        for (const Members& row : rows_) {
            rows.append(rows.empty() ? "{" : ",{").append(row.Inside()).append("}");
        }
        return Members{{"available", state.available ? "1" : "0"},
                       {"live", state.live ? "1" : "0"},
                       {"next", std::to_string(state.next)},
                       {"reason", state.reason},
                       {"missing", std::to_string(missing_)}}
            .Json("rows", "[" + rows + "]");
    }

    // Asks several times at once and without waiting.
    Members Begin(const Message& line, Duration timeout) {
        const int count = std::stoi(line.Text("count"));
        for (int i = 0; i < count; i++) {
            client_.Ask(line.Text("name"), MembersOf(line.Object("members")), timeout,
                        [this](const Answer& answer) {
                            const MutexLock guard(lock_);
                            answers_.push_back("{" + Told(answer).Inside() + "}");
                        });
        }
        return {};
    }

    Members Collect() {
        const MutexLock guard(lock_);
        std::string list;
        for (const std::string& each : std::exchange(answers_, {})) {
            list.append(list.empty() ? "" : ",").append(each);
        }
        return Members().Json("answers", "[" + list + "]");
    }

    Members Life(const std::string& id) {
        std::vector<Message> reports;
        for (const Report& each : book_->LifeOf(id))
            reports.push_back(each.report);
        return Members().Json("reports", List(reports));
    }

    Members Dump() {
        return Members()
            .Json("orders", List(book_->Orders()))
            .Json("fills", List(book_->Fills()))
            .Json("positions", List(book_->Positions()));
    }

    Mutex lock_;
    std::vector<std::string> answers_ GUARDED_BY(lock_);
    std::vector<Members> rows_ GUARDED_BY(lock_);
    int missing_ GUARDED_BY(lock_) = 0;
    std::atomic<int> told_ = 0;
    std::atomic<int> changes_ = 0;
    Client client_;
    std::optional<Book> book_;
    std::optional<Feed> feed_;
};

void Run() {
    std::string line;
    std::getline(std::cin, line);
    std::optional<Driver> driver(std::in_place, Message::Parse(line).value());
    while (std::getline(std::cin, line)) {
        std::cout << "{" << driver->Do(Message::Parse(line).value()).Inside() << "}" << std::endl;
    }
    driver.reset();
}

} // namespace
} // namespace halvane::client

int main() {
    halvane::client::Run();
    return 0;
}
