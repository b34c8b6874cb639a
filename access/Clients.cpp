#include "access/Clients.h"

#include "access/Curve.h"
#include "access/PrivateFile.h"
#include "foundation/support/Clock.h"
#include "foundation/support/Files.h"
#include "foundation/support/Format.h"
#include "foundation/support/Hex.h"
#include "foundation/support/IniFile.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Process.h"
#include "foundation/support/Strings.h"
#include "foundation/support/Utf.h"

#include <algorithm>
#include <filesystem>
#include <iterator>

namespace halvane {
namespace {

constexpr TextView kPrefix = L"client-";
constexpr TextView kSuffix = L".ini";
constexpr TextView kNever = L"never";
constexpr std::size_t kLongestName = 40;
constexpr std::size_t kKeyDigits = 64;

Text PathOf(const Text& folder, TextView name) {
    return folder + kPathSeparator + Text(kPrefix).append(name).append(kSuffix);
}

bool IsKey(const std::string& key) {
    return key.size() == kKeyDigits && BytesOfHex(key).has_value();
}

Text JoinedAccounts(const AccessClient& client) {
    if (client.allAccounts) return L"*";
    Text joined;
    for (const Text& account : client.accounts)
        joined += (joined.empty() ? L"" : L",") + account;
    return joined;
}

} // namespace

AccessConfig ReadAccessConfig() {
    const Text configs = ExecutableFolder() + L"Configs" + kPathSeparator;
    const auto read = [&](const wchar_t* key) {
        return ReadIniText(configs + L"Access.ini", L"Access", key, L"");
    };
    AccessConfig config;
    config.folder = configs + L"Access";
    config.ip = read(L"IP");
    config.address = read(L"Address");
    if (config.address.empty()) config.address = config.ip;
    config.requestPort = std::clamp(ToInt32(read(L"RequestPort")), 0, 65535);
    config.publishPort = std::clamp(ToInt32(read(L"PublishPort")), 0, 65535);
    if (config.publishPort == 0) config.publishPort = config.requestPort + 1;
    config.allow = read(L"Allow");
    config.allowAtPlainPorts = read(L"AllowAtPlainPorts");
    if (config.ip.empty()) config.requestPort = 0;
    return config;
}

bool AccessClient::Covers(TextView mask) const {
    return allAccounts || std::ranges::find(accounts, mask) != accounts.end();
}

bool AccessClient::Covers(TextView brokerId, TextView account) const {
    return Covers(Text(brokerId).append(L"-").append(account));
}

const wchar_t* AccessClient::WhyNot(TextView today) const {
    if (!revoked.empty()) return L"revoked";
    const bool open = until == kNever || (IsDay(until) && today <= until);
    return open ? L"" : L"expired";
}

bool IsClientName(TextView name) {
    const auto fits = [](wchar_t c) {
        return (c >= L'a' && c <= L'z') || IsDigit(c) || c == L'-' || c == L'_';
    };
    return !name.empty() && name.size() <= kLongestName && std::ranges::all_of(name, fits);
}

bool IsDay(TextView text) {
    constexpr TextView kForm = L"0000-00-00";
    const auto fits = [](wchar_t c, wchar_t form) { return form == L'0' ? IsDigit(c) : c == form; };
    return std::ranges::equal(text, kForm, fits) && ToInt32(text.substr(5, 2)) <= 12 &&
           ToInt32(text.substr(8, 2)) <= 31;
}

Text Today() {
    const LocalTime now = ToLocalTime(TheClock().UnixTimeMs());
    return Format(L"%04d-%02d-%02d", int{now.year}, int{now.month}, int{now.day});
}

std::optional<AccessClient> ReadClient(const Text& folder, const Text& name) {
    const Text path = PathOf(folder, name);
    const auto read = [&](const wchar_t* key) { return ReadIniText(path, L"Client", key, L""); };
    AccessClient client;
    client.name = name;
    client.key = ToUtf8(read(L"PublicKey"));
    if (!IsClientName(name) || !IsKey(client.key)) return std::nullopt;
    client.publishPort = std::clamp(ToInt32(read(L"PublishPort")), 0, 65535);
    client.readOnly = read(L"ReadOnly") != L"0";
    const Text accounts = read(L"Accounts");
    client.allAccounts = accounts == L"*";
    for (const TextView account : Split(accounts, L',')) {
        if (!account.empty() && !client.allAccounts) client.accounts.emplace_back(account);
    }
    client.until = read(L"Until");
    client.revoked = read(L"Revoked");
    return client;
}

std::vector<AccessClient> ReadClients(const Text& folder) {
    std::vector<AccessClient> clients;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(ToPath(folder), none)) {
        const Text name = FromPath(entry.path().filename());
        if (!name.starts_with(kPrefix) || !name.ends_with(kSuffix)) continue;
        const std::size_t size = name.size() - kPrefix.size() - kSuffix.size();
        if (auto client = ReadClient(folder, name.substr(kPrefix.size(), size)))
            clients.push_back(*std::move(client));
    }
    std::ranges::sort(clients, {}, &AccessClient::name);
    return clients;
}

bool WriteClient(const Text& folder, const AccessClient& client) {
    const Text path = PathOf(folder, client.name);
    const Text lines[] = {
        L"[Client]",
        L"PublicKey=" + *FromUtf8(client.key),
        Format(L"PublishPort=%d", client.publishPort),
        client.readOnly ? L"ReadOnly=1" : L"ReadOnly=0",
        L"Accounts=" + JoinedAccounts(client),
        L"Until=" + client.until,
        L"Revoked=" + client.revoked,
    };
    std::string bytes;
    for (const Text& line : lines)
        bytes += ToUtf8(line) + "\r\n";
    std::error_code error;
    std::filesystem::create_directories(ToPath(folder), error);
    std::filesystem::remove(ToPath(path + L".new"), error); // of a write that was cut short
    if (!WritePrivateFile(path + L".new", bytes)) return false;
    std::filesystem::rename(ToPath(path + L".new"), ToPath(path), error);
    return !error;
}

std::string ServerSecret(const Text& folder) {
    const Text path = folder + kPathSeparator + L"server.key";
    std::error_code ignored; // what follows tells
    std::filesystem::create_directories(ToPath(folder), ignored);
    if (!std::filesystem::exists(ToPath(path), ignored))
        static_cast<void>(WritePrivateFile(path, MakeCurveKeys().secretKey));
    const std::string secret = ReadFileBytes(ToPath(path));
    return IsKey(secret) ? secret : "";
}

} // namespace halvane
