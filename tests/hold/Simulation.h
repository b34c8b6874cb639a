#pragma once

#include "foundation/support/Zmq.h"
#include "tests/hold/Gateway.h"
#include "tests/hold/Ledger.h"

#include <list>
#include <span>

namespace halvane {

inline constexpr const char* kHolders[] = {"1000001", "1000002", "1000003"};

// A member of a request.
inline std::string Member(const char* name, const std::string& value) {
    return std::string("\"") + name + "\":\"" + value + "\"";
}

// A request that was sent.
struct Asked {
    const struct Row* row;
    std::int64_t sentMs;
    std::string key;        // of the session, as it was sent
    Session* session;       // null for a key that never was one
    std::string subject;    // a user key, a report, an account: what the row makes of it
    bool inVain = false;    // nobody can answer it
    std::string quantity{}; // of a replacement
    std::int64_t start = 0; // of a page
};

// One who asks.
struct Client {
    ZmqSocket socket;
    std::map<std::string, Asked> asked; // by number
    std::list<Session> sessions;
};

class Simulation;
using Build = std::string (Simulation::*)(Asked& asked);
using Check = void (Simulation::*)(const Asked& asked, const JsonValue& reply);

// One of the operations.
struct Row {
    const char* name;
    int weight;
    Build build; // what stands in the request beside its name and session
    Check check; // of a reply that is no failure
    bool needsSession = true;
};

// Clients of a gateway that ask, order, fall silent, leave and vanish as one integer has it, and
// look at all that comes back.
class Simulation {
  public:
    Simulation(std::uint64_t seed, std::int64_t durationMs)
        : random_(seed), durationMs_(durationMs) {}

    void Run();
    std::uint64_t Digest() const { return digest_; }
    int Requests() const { return number_; }
    void PrintTrace() const {
        for (const std::string& line : trace_)
            std::printf("  %s\n", line.c_str());
        for (const Client& client : clients_)
            for (const auto& [number, asked] : client.asked)
                std::printf("  not answered: %s %s %s\n", number.c_str(),
                            asked.row != nullptr ? asked.row->name : "rubbish",
                            asked.subject.c_str());
    }

    std::string LogIn(Asked& asked);
    std::string Nothing(Asked&) { return ""; }
    std::string Order(Asked& asked);
    std::string Strategy(Asked& asked);
    std::string Replace(Asked& asked);
    std::string Cancel(Asked& asked);
    std::string OfAccount(Asked& asked);
    std::string Page(Asked& asked);
    std::string List(Asked& asked);
    std::string Info(Asked& asked);
    std::string Combine(Asked& asked);
    std::string Message(Asked& asked);

    void HasLoggedIn(const Asked& asked, const JsonValue& reply);
    void IsPlain(const Asked&, const JsonValue& reply) {
        Keep(reply.MemberCount() == 2, "nothing is added");
    }
    void IsOrdered(const Asked& asked, const JsonValue& reply);
    void IsChanged(const Asked& asked, const JsonValue& reply);
    void HasRows(const Asked& asked, const JsonValue& reply);
    void HasAccounts(const Asked&, const JsonValue& reply);
    void HasList(const Asked& asked, const JsonValue& reply);
    void HasInfo(const Asked& asked, const JsonValue& reply);

  private:
    std::int64_t Now() const { return Turns::All().NowMs(); }
    void Note(const std::string& line);
    void Connect(Client& client);
    void Act();
    void Send(Client& client, const Row& row);
    void SendRubbish(Client& client);
    void SendFrames(Client& client, std::initializer_list<std::string_view> body);
    Session* ChooseSession(Client& client, Asked& asked);
    void Vanish(Client& client);
    void LookAround();
    void Receive(Client& client);
    void Take(Client& client, std::string_view bytes, const Asked& asked);
    bool TakeFailure(const Asked& asked, const JsonValue& reply);
    void CheckSession(const Asked& asked, bool illegal);
    bool IsAnyAsked() const;
    void AwaitReplies();
    void Audit();
    std::string Exchange(const std::string& request);
    JsonDocument Ask(const std::string& request);
    std::vector<const JsonValue*> AskPages(const std::string& request, const char* array);
    void CheckReadyWait();
    void CheckSessions();
    std::string Number() { return std::to_string(++number_); }

    Random random_;
    std::int64_t durationMs_;
    std::optional<Gateway> gateway_;
    Ledger ledger_;
    ZmqContext context_;
    ZmqSocket ear_;
    std::list<Client> clients_;
    std::set<std::string> keys_;
    std::list<JsonDocument> pages_;
    std::deque<std::string> trace_;
    std::uint64_t digest_ = 0xcbf29ce484222325U;
    int number_ = 0, rubbish_ = 0, failures_ = 0, lost_ = 0;
};

// The nineteen, log-in first.
std::span<const Row> Rows();

} // namespace halvane
