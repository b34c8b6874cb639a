#pragma once

#include "foundation/support/Text.h"

#include <optional>
#include <string>
#include <vector>

namespace halvane {

// What Configs/Access.ini beside the executable says: whether there are encrypted doors, and where.
struct AccessConfig {
    Text folder;            // of the keys, Configs/Access
    Text ip;                // that the doors are bound to
    Text address;           // by which other machines reach it
    int requestPort = 0;    // 0: no doors
    int publishPort = 0;    // the first client's, the others follow
    Text allow;             // the addresses that may come to the doors; all when empty
    Text allowAtPlainPorts; // the same for the plain ports; all when empty
};
AccessConfig ReadAccessConfig();

// A program on another machine that may come in by the doors, as it stands in a file of its own,
// client-<name>.ini. What such a file leaves out, or says in a way that nobody understands, it does
// not allow.
struct AccessClient {
    Text name;       // small letters, digits, "-" and "_"
    std::string key; // the client's public key, 64 hexadecimal digits; his secret one is not here
    int publishPort = 0;
    bool readOnly = true;
    bool allAccounts = false;
    std::vector<Text> accounts; // else these, as masks: <BrokerID>-<Account>
    Text until;                 // the last day, YYYY-MM-DD, or "never"
    Text revoked;               // the day since when it is; "" when it is not

    bool IsRestricted() const { return readOnly || !allAccounts; }
    bool Covers(TextView mask) const;
    bool Covers(TextView brokerId, TextView account) const;
    bool operator==(const AccessClient&) const = default;
    // Why it is not let in on that day; "" when it is.
    const wchar_t* WhyNot(TextView today) const;
};

bool IsClientName(TextView name);
bool IsDay(TextView text); // YYYY-MM-DD
Text Today();

std::vector<AccessClient> ReadClients(const Text& folder);
std::optional<AccessClient> ReadClient(const Text& folder, const Text& name);
// Takes the place of what was there, whole or not at all.
[[nodiscard]] bool WriteClient(const Text& folder, const AccessClient& client);

// The server's secret key; made when there is none, "" when that fails.
std::string ServerSecret(const Text& folder);

} // namespace halvane
