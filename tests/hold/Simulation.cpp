#include "tests/hold/Simulation.h"

#include "foundation/cpputility/BaseData.h"
#include "foundation/cpputility/TopicBoard.h"
#include "foundation/support/Settings.h"
#include "foundation/support/Utf.h"
#include "tests/hold/FakeZmq.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace halvane {
namespace {

constexpr double kBalances[] = {10'000'000, 400'000, 9'000'000};
constexpr std::int64_t kPatienceMs = 6 * 3'600'000;

} // namespace

// Whether the reply is a failure that may be.
bool Simulation::TakeFailure(const Asked& asked, const JsonValue& reply) {
    const std::string reason = Of(reply, "ErrMsg");
    if (Of(reply, "Success") != "Fail" || FindMember(reply, L"ErrMsg") == nullptr) return false;
    const std::string_view name = asked.row->name;
    Keep(reply.MemberCount() == 4, "a failure has four members");
    Keep(Of(reply, "SessionKey") == (name == "LOGIN" ? "" : asked.key),
         "a failure names the session");
    if (asked.row->needsSession) CheckSession(asked, reason == "the Session is illegal");
    if (reason == "the Session is illegal") {
        ledger_.wanted[asked.subject].fate = Wanted::Refused;
    } else if (name == "LOGIN") {
        Keep(reason.empty(), "who does not come in is not told why");
        failures_ += asked.subject == "key" ? 1 : 0;
    } else if (reason == "internal error" || reason == "Initial failed") {
        ++failures_;
        if (name == "NEWORDER") ledger_.wanted[asked.subject].fate = Wanted::Refused;
    } else if (name == "QUERYALLINSTRUMENT") {
        const bool held = asked.inVain || !gateway_->IsCalmSince(asked.sentMs);
        Keep(reason == "ContractName failed" ? asked.subject == "None"
                                             : reason == "open file fail" && held,
             "a list fails for a reason: " + reason);
    } else {
        // While the platform is away it knows no symbol.
        Keep(name == "QUERYINSTRUMENTINFO" && reason == "parse failed" &&
                 (asked.subject.ends_with("NONE") || !gateway_->IsCalm() || Now() > asked.sentMs),
             "a request fails for a reason: " + reason);
    }
    Keep(failures_ <= gateway_->Platform().Failed(), "nothing fails but the platform");
    return true;
}

void Simulation::CheckSession(const Asked& asked, bool illegal) {
    if (asked.session == nullptr) return Keep(illegal, "no key, no service");
    Session& session = *asked.session;
    if (illegal) return Keep(!session.IsAlive(Now()), "a session lives for 60 s after a request");
    session.heardAfterMs = std::max(session.heardAfterMs, asked.sentMs);
    session.heardBeforeMs = Now();
}

void Simulation::Take(Client& client, std::string_view bytes, const Asked& asked) {
    Keep(bytes.ends_with('\0') && bytes.find('\0') == bytes.size() - 1, "a zero ends the reply");
    JsonDocument reply;
    const auto text = FromUtf8(bytes.substr(0, bytes.size() - 1));
    Keep(text && ParseJson(*text, reply), "a reply is JSON");
    Note("<- " + std::string(bytes.substr(0, 300)));
    if (asked.session != nullptr) --asked.session->asking;
    if (asked.row == nullptr)
        return Keep(Of(reply, "Reply") == "Req" && Of(reply, "Success") == "Fail" &&
                        Of(reply, "ErrMsg") == asked.subject,
                    "rubbish is answered so");
    Keep(Of(reply, "Reply") == asked.row->name, "a reply names its request");
    if (TakeFailure(asked, reply)) return;
    if (asked.row->needsSession) CheckSession(asked, false);
    (this->*asked.row->check)(asked, reply);
    const std::string_view name = asked.row->name;
    if (name == "LOGIN") client.sessions.push_back({Of(reply, "SessionKey"), asked.sentMs, Now()});
    if (name == "LOGOUT" && asked.session != nullptr) asked.session->left = true;
}

void Simulation::Receive(Client& client) {
    for (ZmqMessage number; number.Receive(client.socket.get(), ZMQ_DONTWAIT);) {
        ZmqMessage empty, body;
        Keep(number.HasMore() && empty.Receive(client.socket.get()) && empty.HasMore() &&
                 body.Receive(client.socket.get()) && !body.HasMore(),
             "a reply has its envelope");
        const auto found = client.asked.find(std::string(number.Bytes()));
        Keep(found != client.asked.end(), "one reply to who has asked");
        const Asked asked = found->second;
        client.asked.erase(found);
        Take(client, body.Bytes(), asked);
    }
}

// --- what clients do
// ------------------------------------------------------------------------------

void Simulation::Note(const std::string& line) {
    if (trace_.size() == 40) trace_.pop_front();
    trace_.push_back(std::to_string(Now()) + " " + line);
    std::string counted = trace_.back();
    for (const char* each : {"\"SubPort\"", "\"SystemName\""}) // not the seed's
        if (const auto at = counted.find(each); at != std::string::npos) counted.resize(at);
    for (const char c : counted)
        digest_ = (digest_ ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
}

void Simulation::Connect(Client& client) {
    client.socket.reset(zmq_socket(context_.get(), ZMQ_DEALER));
    zmq_connect(client.socket.get(), gateway_->RequestEndpoint().c_str());
}

void Simulation::SendFrames(Client& client, std::initializer_list<std::string_view> body) {
    const std::string number = std::to_string(number_);
    std::vector<std::string_view> frames{number, ""};
    frames.insert(frames.end(), body);
    for (const std::string_view& frame : frames) {
        auto* const bytes = new std::string(frame);
        zmq_msg_t part;
        zmq_msg_init_data(
            &part, bytes->data(), bytes->size(),
            [](void*, void* owner) { delete static_cast<std::string*>(owner); }, bytes);
        zmq_msg_send(&part, client.socket.get(), &frame == &frames.back() ? 0 : ZMQ_SNDMORE);
    }
}

Session* Simulation::ChooseSession(Client& client, Asked& asked) {
    std::erase_if(client.sessions, [&](const Session& each) {
        return each.IsGone(Now()) && each.asking == 0 && client.sessions.size() > 4;
    });
    if (client.sessions.empty() || OneIn(random_, 30)) {
        asked.key = OneIn(random_, 2) ? "" : "0123456789abcdef0123456789abcdef";
        return nullptr;
    }
    Session& session = OneIn(random_, 4)
                           ? *std::next(client.sessions.begin(),
                                        Within(random_, 0, std::ssize(client.sessions) - 1))
                           : client.sessions.back();
    asked.key = session.key;
    if (session.IsGone(Now())) return nullptr;
    ++session.asking;
    return &session;
}

void Simulation::Send(Client& client, const Row& row) {
    Number();
    Asked asked{&row, Now(), "", nullptr, ""};
    if (std::string_view(row.name) != "LOGIN")
        asked.session = ChooseSession(client, asked);
    else if (OneIn(random_, 2))
        asked.key = "of no use here";
    if (std::string_view(row.name) == "LOGOUT" && asked.session != nullptr)
        asked.session->leaving = true;
    const std::string number = std::to_string(number_);
    const std::string more = (this->*row.build)(asked);
    number_ = std::stoi(number);
    const std::string text =
        "{" + Member("Request", row.name) + "," + Member("SessionKey", asked.key) + more + "}";
    Note("-> " + text);
    client.asked.emplace(number, asked);
    SendFrames(client, {text});
}

// What is no request is answered all the same, and one that nobody has thought of.
void Simulation::SendRubbish(Client& client) {
    Number();
    std::string text = R"({"Request":"PONG","SessionKey":""})";
    const auto at = static_cast<std::size_t>(Within(random_, 0, std::ssize(text) - 1));
    Note("-> rubbish");
    const auto kind = Within(random_, 0, 4);
    const char* const reason = kind == 4 ? "Undefined" : "";
    client.asked.emplace(std::to_string(number_), Asked{nullptr, Now(), "", nullptr, reason});
    if (kind != 4) ++rubbish_;
    if (kind == 0) return SendFrames(client, {std::string_view(text).substr(0, at)});
    if (kind == 1) return SendFrames(client, {text, text});
    if (kind == 2) return SendFrames(client, {R"({"Request":1,"Param":[]})"});
    const std::string deep = std::string(1000, '[') + std::string(1000, ']'); // and the object
    if (kind == 3) return SendFrames(client, {R"({"Request":"PONG","Deep":)" + deep + "}"});
    SendFrames(client, {R"({"Request":"pong"})"});
}

void Simulation::Vanish(Client& client) {
    Note("vanishes");
    lost_ += static_cast<int>(client.sessions.size() + client.asked.size());
    client.asked.clear();
    client.sessions.clear();
    client.socket.reset();
    Connect(client);
}

void Simulation::Act() {
    Client& client = *std::next(clients_.begin(), Within(random_, 0, std::ssize(clients_) - 1));
    if (OneIn(random_, 200)) return Vanish(client);
    if (OneIn(random_, 40)) return SendRubbish(client);
    if (client.sessions.empty() || client.sessions.back().IsGone(Now()))
        return Send(client, Rows()[0]);
    const auto add = [](int sum, const Row& row) { return sum + row.weight; };
    auto drawn = Within(random_, 1, std::accumulate(Rows().begin(), Rows().end(), 0, add));
    auto row = Rows().begin();
    while ((drawn -= row->weight) > 0)
        ++row;
    Send(client, *row);
}

void Simulation::LookAround() {
    for (ZmqMessage message; message.Receive(ear_.get(), ZMQ_DONTWAIT);) {
        const std::string_view bytes = message.Bytes();
        Note("** " + std::string(bytes.substr(0, 200)));
        JsonDocument publication;
        const auto text = FromUtf8(bytes.substr(0, bytes.size() - 1));
        Keep(bytes.ends_with('\0') && text && ParseJson(*text, publication),
             "publications are JSON");
        ledger_.Read(publication, gateway_->told);
        Keep(Of(publication, "DataType") != "ACCOUNTS" || !gateway_->IsCalm() ||
                 RowsOf(publication, "Accounts").size() == std::size(kHolders),
             "all accounts are published");
    }
    ledger_.CheckHeartbeats();
    for (Client& client : clients_)
        Receive(client);
    Gateway::CheckLog();
}

bool Simulation::IsAnyAsked() const {
    return std::ranges::any_of(clients_, [](const Client& each) { return !each.asked.empty(); });
}

void Simulation::AwaitReplies() {
    for (const std::int64_t end = Now() + kPatienceMs; IsAnyAsked(); LookAround()) {
        Keep(Now() < end, "each request has its reply");
        Turns::All().Sleep(1000);
    }
}

// --- what must be true when all is quiet
// ----------------------------------------------------------

std::string Simulation::Exchange(const std::string& request) {
    Client client;
    Connect(client);
    SendFrames(client, {request});
    ZmqMessage part;
    while (part.Receive(client.socket.get()) && part.HasMore()) {
    }
    return std::string(part.Bytes());
}

JsonDocument Simulation::Ask(const std::string& request) {
    JsonDocument reply;
    const std::string bytes = Exchange(request);
    Keep(ParseJson(*FromUtf8(bytes.substr(0, bytes.size() - 1)), reply) &&
             Of(reply, "Success") == "OK",
         "in quiet times all is answered: " + request + " " + bytes);
    return reply;
}

std::vector<const JsonValue*> Simulation::AskPages(const std::string& request, const char* array) {
    std::vector<const JsonValue*> all;
    for (std::size_t before = 1; all.size() != before;) {
        before = all.size();
        const std::string index = Member("QryIndex", std::to_string(before));
        pages_.push_back(Ask(request + "," + index + "}"));
        const auto rows = RowsOf(pages_.back(), array);
        all.insert(all.end(), rows.begin(), rows.end());
    }
    return all;
}

void Simulation::Audit() {
    AwaitReplies();
    if (!gateway_->IsCalm()) return;
    gateway_->Harm(false);
    Turns::All().Sleep(Now() % 1000 == 999 ? 2 : 1); // what is being told is told; no step begins
    LookAround();
    Note("audit");
    pages_.clear();
    const std::string logIn = R"({"Request":"LOGIN","Param":{)" +
                              Member("SystemName", ToUtf8(GetSetting(L"SystemName"))) +
                              R"(,"ServiceKey":"key"}})";
    const std::string key = Of(Ask(logIn), "SessionKey");
    const auto request = [&](const char* name, const std::string& account) {
        return "{" + Member("Request", name) + "," + Member("SessionKey", key) + "," +
               Member("AccountMask", "PAPER-" + account);
    };
    ledger_.CheckReports(AskPages(request("RESTOREREPORT", ""), "Orders"));
    ledger_.CheckFills(AskPages(request("RESTOREFILLREPORT", ""), "Orders"));
    ledger_.CheckFates();
    for (std::size_t n = 0; n < std::size(kHolders); ++n) {
        const std::string account = kHolders[n];
        const double worth =
            ledger_.CheckPositions(account, AskPages(request("POSITIONS", account), "Positions"));
        pages_.push_back(Ask(request("MARGINS", account) + "}"));
        const auto margins = RowsOf(pages_.back(), "Margins");
        Keep(margins.size() == 1, "an account has its margins");
        ledger_.CheckFrozen(account, *margins[0]);
        const double value = std::atof(Of(*margins[0], "AccountValueAtMarket").c_str());
        const double expected = kBalances[n] - ledger_.Paid(account) + worth;
        Keep(std::abs(value - expected) < 0.01,
             "money is what the fills make it: " + std::to_string(value) + " for " +
                 std::to_string(expected));
    }
    const std::int64_t beforeMs = Now();
    Ask(request("QUERYALLINSTRUMENT", "") + R"(,"Type":"PaperStk","DateTime":"20261217"})");
    Keep(Now() < beforeMs + 1000, "a list of a day past comes when it is there");
    Ask(request("LOGOUT", "") + "}");
    Keep(gateway_->told.empty(), "all that was told is published");
    Keep(Gateway::Logged("FATAL parse failed for json data") == rubbish_, "rubbish is logged");
    CheckSessions();
    gateway_->Harm(true);
}

// Who asks for what is still being loaded waits for it, for 20 s at most.
void Simulation::CheckReadyWait() {
    const std::int64_t askedMs = Now();
    Exchange(R"({"Request":"MARGINS"})");
    const std::int64_t dueMs = std::clamp(gateway_->ReadyAtMs(), askedMs, askedMs + 20'000);
    Keep(Now() >= dueMs && Now() <= dueMs + 1000, "who asks early waits for the data");
}

void Simulation::CheckSessions() {
    std::vector<CppUtility::DataTableInfo> table;
    CppUtility::GetDataFromTopic(L"LoginInfo")->GetRecords(table);
    Keep(table.size() == SessionCount(), "the table and the map agree");
    std::size_t alive = 0, maybe = static_cast<std::size_t>(lost_);
    for (const Client& client : clients_) {
        for (const Session& session : client.sessions) {
            alive += session.IsAlive(Now()) ? 1 : 0;
            maybe += session.IsGone(Now()) ? 0 : 1;
            Keep(!session.IsAlive(Now()) || IsSessionKnown(*FromUtf8(session.key)),
                 "sessions stay");
            Keep(!session.IsGone(Now()) || !IsSessionKnown(*FromUtf8(session.key)), "sessions go");
        }
    }
    Keep(SessionCount() >= alive && SessionCount() <= maybe, "sessions are those that were opened");
}

void Simulation::Run() {
    const bool wraps = OneIn(random_, 2);
    const auto firstTick = static_cast<std::uint32_t>(wraps ? -Within(random_, 1, durationMs_)
                                                            : Within(random_, 1, INT32_MAX));
    Turns::All().Begin(random_(), firstTick);
    gateway_.emplace(random_, durationMs_);
    context_ = MakeZmqContext();
    ear_.reset(zmq_socket(context_.get(), ZMQ_SUB));
    zmq_connect(ear_.get(), gateway_->PublishEndpoint().c_str());
    SetZmqOption(ear_.get(), ZMQ_RCVHWM, 0);
    gateway_->told.clear();
    CheckReadyWait();
    gateway_->Harm(true);
    for (auto left = Within(random_, 1, 6); left > 0; --left)
        Connect(clients_.emplace_back());
    const bool idle = OneIn(random_, 3);
    while (Now() < durationMs_) {
        for (auto left = Within(random_, 0, OneIn(random_, 20) ? 60 : 6); left > 0; --left)
            Act();
        const bool silent = OneIn(random_, idle ? 8 : 40);
        Turns::All().Sleep(static_cast<std::uint32_t>(silent ? Within(random_, 0, 180'000)
                                                             : Within(random_, 0, 20'000)));
        LookAround();
        if (OneIn(random_, 20)) Audit();
    }
    Audit();
    Turns::All().Sleep(71'000);
    LookAround();
    Keep(SessionCount() == 0, "who is silent is forgotten");
    clients_.clear();
    gateway_.reset();
    ear_.reset();
    context_.reset();
    Keep(fake_zmq::OpenHandles() == 0, "all handles are closed");
}

} // namespace halvane
