#include "doctor/Checks.h"
#include "foundation/support/Clock.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace halvane::doctor {
namespace {

using client::Answer;
using client::Duration;
using client::Message;
using client::Param;
using client::State;

constexpr Duration kConnecting{3'000};
constexpr Duration kRefusedFor{1'000}; // a gateway that starts refuses until its platform is ready
constexpr Duration kStep{50};
constexpr Duration kPatience{2'000};
constexpr int kAsked = 8;
constexpr Duration kHeartbeatPatience{25'000};
constexpr std::int64_t kSlowAnswerUs = 100'000;
constexpr std::int64_t kStuckMs = 5'000;
constexpr const char* kOrderSymbol = "OV.S.PAPX.ALFA"; // that no other platform knows
constexpr const char* kPaperBroker = "PAPER";
constexpr const char* kClosed = "145";

bool WaitFor(Duration patience, const std::function<bool()>& isThere) {
    const std::int64_t endUs = SteadyTimeUs() + std::chrono::microseconds(patience).count();
    while (!isThere()) {
        if (SteadyTimeUs() > endUs) return false;
        TheClock().Sleep(static_cast<std::uint32_t>(kStep.count()));
    }
    return true;
}

std::string MsText(std::int64_t us) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f ms", static_cast<double>(us) / 1000);
    return text;
}

// Where a client on this machine finds a gateway that listens there.
std::string HostFor(const std::string& address) {
    const bool everywhere = address == "0.0.0.0" || address == "*";
    return everywhere || address.empty() ? "127.0.0.1" : address;
}

State Connect(Case& patient) {
    client::Options options{patient.request.systemName, patient.request.serviceKey};
    options.host = HostFor(patient.address);
    options.port = patient.port;
    patient.client = std::make_unique<client::Client>(options);
    State::Step furthest = State::Step::None;
    Duration refused{0};
    WaitFor(kConnecting, [&] {
        patient.state = patient.client->GetState();
        furthest = std::max(furthest, patient.state.reached);
        if (patient.state.kind == State::Kind::Refused) refused += kStep;
        return patient.state.IsConnected() || refused >= kRefusedFor;
    });
    patient.state.reached = furthest;
    return patient.state;
}

// What an order for one share at the lowest price came to, as the book has it.
Finding OrderThrough(Case& patient, const std::string& account, const std::string& price) {
    client::BookOptions options;
    options.positions = false;
    options.account = std::string(kPaperBroker) + "-" + account;
    client::Book book(*patient.client, options);
    if (!book.WaitLive(kPatience)) {
        return Fail("orders cannot be read within 2 s", "look at the platform");
    }
    const std::string key = "doctor-" + std::to_string(TheClock().UnixTimeMs());
    const std::int64_t begunUs = SteadyTimeUs();
    const Answer answer = patient.client->Ask("NEWORDER",
                                              Param({{"BrokerID", kPaperBroker},
                                                     {"Account", account},
                                                     {"Symbol", kOrderSymbol},
                                                     {"Side", "1"},
                                                     {"OrderType", "2"},
                                                     {"TimeInForce", "2"},
                                                     {"Price", price},
                                                     {"OrderQty", "1"},
                                                     {"UserKey1", key}}),
                                              kPatience);
    if (!answer) {
        return Fail(
            "an order on paper: " + answer.error,
            "docs/paper.md has the paper platform's codes; 101 is an incident of the market file");
    }
    const std::string taken = MsText(SteadyTimeUs() - begunUs);
    WaitFor(kPatience, [&] {
        const std::vector<Message> orders = book.WithKey(key);
        return !orders.empty() && orders.back().Text("LeavesQty") == "0";
    });
    const std::vector<Message> orders = book.WithKey(key);
    if (orders.empty()) {
        return Fail("an order on paper was taken and never reported",
                    "look at the log and the market file");
    }
    const std::string error = orders.back().Text("ErrorCode");
    const std::string found = "one share, immediate or cancel: taken after " + taken +
                              ", reported after " + MsText(SteadyTimeUs() - begunUs);
    if (error.empty() || error == "0") return Ok(found);
    if (error == kClosed) return Ok(found + ", the market is closed");
    return Warn(found + ", rejected with " + error, "docs/paper.md has the codes");
}

} // namespace

Finding LookAtConnection(Case& patient) {
    if (!patient.IsNamed()) return Skipped("the system name was not given");
    if (!patient.runs) return Skipped("the gateway does not run");
    if (patient.request.serviceKey.empty()) return Skipped("the service key was not given");
    const State state = Connect(patient);
    const std::string where = HostFor(patient.address) + ":" + std::to_string(patient.port);
    const bool isAnswered =
        state.reached >= State::Step::Answered || state.kind == State::Kind::Refused;
    if (isAnswered) return Ok("it answers at " + where);
    return Fail((state.reason.empty() ? "no answer within 3 s" : state.reason) + " (" + where + ")",
                "look at the last lines of the log; if there are no new ones, restart the gateway");
}

Finding LookAtLogIn(Case& patient) {
    if (patient.state.kind == State::Kind::Refused) {
        return Fail(
            "the key of " + patient.request.systemName + " is refused",
            "compare system name and key with those of the platform; while the gateway starts, "
            "wait a moment");
    }
    if (patient.state.reached >= State::Step::LoggedIn) return Ok("the key is taken");
    return Fail(
        "no answer within 3 s",
        "all four workers are busy: look at the platform, and at STATUS (docs/operations.md)");
}

Finding LookAtSubscription(Case& patient) {
    const State& state = patient.state;
    if (state.IsConnected()) return Ok("connected at port " + std::to_string(state.publishPort));
    return Fail(state.reason.empty() ? "the publish port does not answer within 3 s" : state.reason,
                "look at the log's line PublishPort, and for a firewall between");
}

Finding LookAtAnswers(Case& patient) {
    if (patient.isHeld) return Skipped("see status");
    std::int64_t tookUs = std::numeric_limits<std::int64_t>::max();
    for (int i = 0; i < kAsked; i++) {
        const std::int64_t begunUs = SteadyTimeUs();
        if (const Answer one = patient.client->Ask("PONG", {}, kPatience); !one) {
            return Fail(one.error, "look at the last lines of the log");
        }
        tookUs = std::min(tookUs, SteadyTimeUs() - begunUs);
    }
    if (tookUs > kSlowAnswerUs) {
        return Warn("a request takes " + MsText(tookUs), "look what else keeps this machine busy");
    }
    return Ok("a request takes " + MsText(tookUs));
}

Finding LookAtStatus(Case& patient) {
    const Answer answer = patient.client->Ask("STATUS", {}, kPatience);
    if (answer.outcome == Answer::Outcome::TimedOut) return Skipped("no answer: see answers");
    if (answer.error == "Undefined") {
        return Skipped(
            "not turned on: [Gateway] Status=1 in Configs/ZMQ.ini, see docs/operations.md");
    }
    if (!answer) return Fail(answer.error, "look at the log");
    const Message platform = answer.message.Object("Platform");
    patient.statusOnPaper = platform.Text("Paper") == "1";
    patient.statusLive = !patient.statusOnPaper;
    const std::int64_t longest = std::atoll(answer.message.Text("LongestMs").c_str());
    for (const Message& worker : answer.message.Rows("Workers")) {
        if (longest < kStuckMs || std::atoll(worker.Text("RunsMs").c_str()) < longest) continue;
        patient.isHeld = true;
        return Warn(worker.Text("Request") + " has run for " + std::to_string(longest / 1000) +
                        " s",
                    "the platform does not answer: look at it; each such request holds one of four "
                    "workers");
    }
    if (platform.Text("TradeDataReady") != "1") {
        return Warn("the platform has not loaded the accounts' data",
                    "look whether it is logged in");
    }
    return Ok(answer.message.Text("Version") + ", " + answer.message.Text("UptimeMs") + " ms up, " +
              (patient.statusOnPaper ? "on paper" : "platform " + platform.Text("Address")));
}

Finding LookAtAccounts(Case& patient) {
    if (patient.isHeld) return Skipped("see status"); // another one would hold another worker
    const Answer answer = patient.client->Ask("ACCOUNTS", {}, kPatience);
    if (answer.outcome == Answer::Outcome::TimedOut) {
        return Warn("no list within 2 s", "the platform refuses rows of it: look at the platform");
    }
    if (!answer) return Fail(answer.error, "look at the log and the platform");
    patient.accounts = answer.message.Rows("Accounts");
    if (!patient.accounts.empty()) return Ok(std::to_string(patient.accounts.size()) + " accounts");
    return Warn("the platform has announced none",
                "look whether it is logged in, and wait a moment");
}

// Nothing is ordered unless the gateway says that it is on paper, and for a symbol of the paper
// market alone.
Finding LookAtOrder(Case& patient) {
    const bool saysPaper = patient.statusOnPaper || (patient.IsPaper() && patient.loggedOnPaper);
    if (!saysPaper || patient.statusLive) return Skipped("only on the paper platform");
    const std::vector<Message>& rows = patient.accounts;
    if (rows.empty()) return Skipped("see accounts");
    const auto row = std::find_if(rows.begin(), rows.end(), [](const Message& each) {
        return each.Text("BrokerID") == kPaperBroker;
    });
    const Answer info =
        patient.client->Ask("QUERYINSTRUMENTINFO", {{"Symbol", kOrderSymbol}}, kPatience);
    const std::string price = info.message.Object("Info").Text("LowerLimit");
    if (row == rows.end() || !info || price.empty()) {
        return Skipped(std::string("the market has no ") + kOrderSymbol + " or no account of " +
                       kPaperBroker);
    }
    return OrderThrough(patient, row->Text("Account"), price);
}

Finding LookAtHeartbeat(Case& patient) {
    const auto heard = [&] { return patient.client->GetState().heard.has_value(); };
    if (heard()) return Ok("publications come");
    if (!patient.request.wait) {
        return Skipped(
            "nothing was published meanwhile; a heartbeat comes every 20 s: --wait waits for it");
    }
    const std::int64_t begunUs = SteadyTimeUs();
    if (WaitFor(kHeartbeatPatience, heard)) {
        return Ok("came after " + std::to_string((SteadyTimeUs() - begunUs) / 1'000'000) + " s");
    }
    return Fail("nothing was published for 25 s", "look for a firewall between, and at the log's "
                                                  "lines of PublishWorker; restart the gateway");
}

} // namespace halvane::doctor
