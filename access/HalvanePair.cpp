// Makes and takes back the keys of programs on other machines. It writes the files that the gateway
// beside it looks at twice a second; the secret key of a client leaves with the line that is
// printed and is kept nowhere here.

#include "access/Clients.h"
#include "access/Curve.h"
#include "foundation/support/Format.h"
#include "foundation/support/Strings.h"
#include "foundation/support/Utf.h"

#include <algorithm>
#include <cstdio>

namespace halvane {
namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongWords = 2;

constexpr const char* kUsage =
    "HalvanePair NAME [--read-only] [--accounts BROKER-ACCOUNT,...] [--until YYYY-MM-DD]\n"
    "    makes a key for a program on another machine and prints the line to paste there, once\n"
    "HalvanePair --revoke NAME\n"
    "    takes it back; a gateway that runs puts the program out within a second\n"
    "HalvanePair --list\n"
    "    shows who may come in\n"
    "Names have small letters, digits, _ and, but not first, -. Configs/Access.ini beside this\n"
    "program says where the gateway's encrypted doors are.\n";

void Print(std::FILE* file, TextView text) { std::fputs((ToUtf8(text) + "\n").c_str(), file); }

int Fail(TextView reason) {
    Print(stderr, L"HalvanePair: " + Text(reason));
    return kFailed;
}

int ExplainItself() {
    std::fputs(kUsage, stderr);
    return kWrongWords;
}

Text Describe(const AccessClient& client, TextView today) {
    Text accounts = client.allAccounts ? L"all accounts" : L"";
    for (const Text& account : client.accounts)
        accounts += (accounts.empty() ? L"" : L",") + account;
    const Text whyNot = client.WhyNot(today);
    return Format(L"%s  %s  %s  until %s  publications at %d%s%s", client.name,
                  client.readOnly ? L"read-only" : L"trades", accounts, client.until,
                  client.publishPort, whyNot.empty() ? L"" : L"  ", whyNot);
}

int List(const AccessConfig& config) {
    for (const AccessClient& client : ReadClients(config.folder))
        Print(stdout, Describe(client, Today()));
    return kDone;
}

int Revoke(const AccessConfig& config, const Text& name) {
    auto client = ReadClient(config.folder, name);
    if (!client) return Fail(L"there is no client " + name);
    if (client->revoked.empty()) client->revoked = Today();
    if (!WriteClient(config.folder, *client)) return Fail(L"cannot write to " + config.folder);
    Print(stderr, name + L" is revoked");
    return kDone;
}

// The port that the client had before, or the first that nobody has.
int ChoosePort(const AccessConfig& config, const Text& name) {
    const auto clients = ReadClients(config.folder);
    const auto before = std::ranges::find(clients, name, &AccessClient::name);
    if (before != clients.end()) return before->publishPort;
    int port = config.publishPort;
    while (port == config.requestPort ||
           std::ranges::find(clients, port, &AccessClient::publishPort) != clients.end())
        ++port;
    return port;
}

int Pair(const AccessConfig& config, AccessClient client) {
    if (config.requestPort == 0)
        return Fail(L"Configs/Access.ini names no IP and RequestPort: there are no doors");
    const auto before = ReadClient(config.folder, client.name);
    if (before && before->revoked.empty())
        return Fail(client.name + L" has a key already; revoke it first");
    client.publishPort = ChoosePort(config, client.name);
    if (client.publishPort > 65535) return Fail(L"no port is left for its publications");
    const std::string secret = ServerSecret(config.folder);
    if (secret.empty()) return Fail(L"no server key in " + config.folder);
    const CurveKeys keys = MakeCurveKeys();
    client.key = keys.publicKey;
    if (!WriteClient(config.folder, client)) return Fail(L"cannot write to " + config.folder);
    Print(stdout,
          Format(L"halvane://%s:%d/%s/%s/%s", config.address, config.requestPort, client.name,
                 *FromUtf8(CurveKeysOf(secret).publicKey), *FromUtf8(keys.secretKey)));
    Print(stderr, L"The line above is the key of " + Describe(client, Today()) +
                      L". It is shown this once.");
    return kDone;
}

bool IsAccountMask(TextView mask) {
    return mask.find(L'-') != TextView::npos && mask.find_first_of(L" *") == TextView::npos;
}

// What follows the name; nothing when a word is wrong.
std::optional<AccessClient> ReadWords(const std::vector<Text>& words) {
    AccessClient client;
    client.name = words[0];
    client.readOnly = false;
    client.allAccounts = true;
    client.until = L"never";
    for (std::size_t n = 1; n < words.size(); ++n) {
        const bool more = n + 1 < words.size();
        if (words[n] == L"--read-only") {
            client.readOnly = true;
        } else if (words[n] == L"--until" && more && IsDay(words[n + 1])) {
            client.until = words[++n];
        } else if (words[n] == L"--accounts" && more) {
            client.allAccounts = false;
            for (const TextView mask : Split(words[++n], L',')) {
                if (!IsAccountMask(mask)) return std::nullopt;
                client.accounts.emplace_back(mask);
            }
        } else {
            return std::nullopt;
        }
    }
    return client;
}

int Run(const std::vector<Text>& words) {
    const AccessConfig config = ReadAccessConfig();
    if (words.empty()) return ExplainItself();
    if (words[0] == L"--list" && words.size() == 1) return List(config);
    if (words[0] == L"--revoke" && words.size() == 2) return Revoke(config, words[1]);
    if (words[0].starts_with(L'-') || !IsClientName(words[0])) return ExplainItself();
    auto client = ReadWords(words);
    return client ? Pair(config, *std::move(client)) : ExplainItself();
}

} // namespace
} // namespace halvane

int main(int count, char** arguments) {
    std::vector<halvane::Text> words;
    for (int n = 1; n < count; ++n)
        words.push_back(halvane::FromUtf8(arguments[n]).value_or(L"?"));
    try {
        return halvane::Run(words);
    } catch (const std::exception& error) {
        return halvane::Fail(halvane::ReasonOf(error));
    }
}
