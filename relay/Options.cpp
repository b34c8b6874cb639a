#include "relay/Options.h"

#include "foundation/support/IniFile.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Process.h"
#include "foundation/support/Utf.h"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <filesystem>
#include <iomanip>
#include <set>
#include <sstream>

namespace halvane::relay {

const char* const kUsage =
    "HalvaneRelay [--config FILE]\n"
    "HalvaneRelay [--config FILE] --read [SUBJECT] [--from NUMBER|TIME] [--follow]\n"
    "HalvaneRelay [--config FILE] --resend-from NUMBER|TIME [--desk DESK]\n"
    "\n"
    "Brings the numbered feeds of gateways into a stream of NATS, and requests out of it; prints "
    "rows\n"
    "of the stream; or publishes again what it has lost. A TIME is like 2026-11-22T10:31:00Z.\n"
    "Configs/Relay.ini beside the program names engine and gateways where no other file is "
    "given.\n";

namespace {

constexpr int kMostGateways = 100;
constexpr std::int64_t kLongestPatienceMs = 600'000;

class File {
  public:
    File(Options& options, Text path) : options_(options), path_(std::move(path)) {}

    std::string Value(const Text& section, const Text& key, const char* fallback = "") const {
        const Text value = ReadIniText(path_, section, key, L"");
        return value.empty() ? fallback : ToUtf8(value);
    }

    std::int64_t Number(const Text& section, const Text& key, std::int64_t fallback,
                        std::int64_t most) const {
        const std::string text = Value(section, key);
        if (text.empty()) return fallback;
        const std::optional<std::int64_t> number = NumberOf(text);
        if (!number || *number > most)
            options_.fault = ToUtf8(key) + " in [" + ToUtf8(section) + "] is no number up to " +
                             std::to_string(most) + ": " + text;
        return number.value_or(fallback);
    }

  private:
    Options& options_;
    const Text path_;
};

bool IsToken(const std::string& name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
               c == '-' || c == '_';
    });
}

void ReadEngine(Options& options, const File& file) {
    Engine& engine = options.engine;
    engine.url = file.Value(L"Nats", L"Url", "nats://127.0.0.1:4222");
    engine.user = file.Value(L"Nats", L"User");
    engine.password = file.Value(L"Nats", L"Password");
    engine.credentials = file.Value(L"Nats", L"Credentials");
    engine.authority = file.Value(L"Nats", L"Authority");
    engine.certificate = file.Value(L"Nats", L"Certificate");
    engine.key = file.Value(L"Nats", L"Key");
    engine.inbox = file.Value(L"Nats", L"Inbox");
    if (engine.inbox.empty() && IsToken(engine.user)) engine.inbox = "_INBOX." + engine.user;
    engine.stream = file.Value(L"Nats", L"Stream", "HALVANE");
    if (!IsToken(engine.stream))
        options.fault = "Stream in [Nats] has letters, digits, - and _ only: " + engine.stream;
    engine.maxMegabytes = file.Number(L"Nats", L"MaxMegabytes", 0, 1'000'000'000);
    engine.keepDays = file.Number(L"Nats", L"KeepDays", 0, 36'500);
    engine.dedupeSeconds = file.Number(L"Nats", L"DedupeSeconds", 120, 86'400);
    options.requestPatience =
        client::Duration(file.Number(L"Nats", L"RequestMs", 10'000, kLongestPatienceMs));
}

void SetPlace(Options& options, client::Options& gateway, const std::string& place) {
    const std::size_t colon = place.rfind(':');
    gateway.host = place.substr(0, colon);
    if (colon == std::string::npos) return;
    const std::optional<std::int64_t> port = NumberOf(place.substr(colon + 1));
    if (!port || *port < 1 || *port > 65'535) options.fault = "no host:port is " + place;
    gateway.port = static_cast<int>(port.value_or(0));
}

void ReadGateways(Options& options, const File& file) {
    std::set<std::string> names;
    for (int number = 1; number <= kMostGateways && options.fault.empty(); number++) {
        const Text section = L"Gateway" + DecimalText(number);
        DeskOptions desk;
        desk.name = file.Value(section, L"Desk");
        desk.gateway.systemName = file.Value(section, L"System");
        desk.gateway.serviceKey = file.Value(section, L"Key");
        desk.gateway.pairedLine = file.Value(section, L"Line");
        if (desk.name.empty() && desk.gateway.systemName.empty()) continue;
        const std::string where = " in [" + ToUtf8(section) + "]";
        if (!IsToken(desk.name))
            options.fault = "Desk" + where + " has letters, digits, - and _ only: " + desk.name;
        else if (!names.insert(desk.name).second)
            options.fault = "Desk" + where + " is another gateway's: " + desk.name;
        else if (desk.gateway.systemName.empty() || desk.gateway.serviceKey.empty())
            options.fault = "System or Key is missing" + where;
        SetPlace(options, desk.gateway, file.Value(section, L"Address", "127.0.0.1"));
        desk.gateway.publications = false;
        options.desks.push_back(std::move(desk));
    }
}

void ReadArguments(Options& options, const std::vector<Text>& arguments, Text& file) {
    for (std::size_t i = 0; i < arguments.size() && options.fault.empty(); i++) {
        const Text& option = arguments[i];
        const bool hasValue = i + 1 < arguments.size() && !arguments[i + 1].starts_with(L"--");
        const auto value = [&] { return hasValue ? ToUtf8(arguments[++i]) : std::string(); };
        if (option == L"--follow") {
            options.follow = true;
        } else if (option == L"--read") {
            options.read = true;
            if (hasValue) options.subject = value();
        } else if (!hasValue) {
            options.fault = "unknown, or without a value: " + ToUtf8(option);
        } else if (option == L"--config") {
            file = FromPath(std::filesystem::absolute(ToPath(arguments[++i])));
        } else if (option == L"--from") {
            options.from = value();
        } else if (option == L"--resend-from") {
            options.resend = true;
            options.from = value();
        } else if (option == L"--desk") {
            options.onlyDesk = value();
        } else {
            options.fault = "unknown: " + ToUtf8(option);
        }
    }
    if (!options.from.empty() && !NumberOf(options.from) && !TimeNsOf(options.from))
        options.fault = "neither a number nor a time like 2026-11-22T10:31:00Z: " + options.from;
}

} // namespace

std::optional<std::int64_t> NumberOf(const std::string& text) {
    std::int64_t number = 0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (fault != std::errc() || end != text.data() + text.size() || number < 0) return {};
    return number;
}

std::optional<std::int64_t> TimeNsOf(const std::string& text) {
    constexpr std::int64_t kSecondNs = 1'000'000'000;
    constexpr std::string_view kForm = "0000-00-00T00:00:00Z";
    if (text.size() != kForm.size() || text.back() != 'Z') return {};
    std::tm parts{};
    std::istringstream words(text);
    words >> std::get_time(&parts, "%Y-%m-%dT%H:%M:%S");
    if (words.fail()) return {};
    return static_cast<std::int64_t>(timegm(&parts)) * kSecondNs;
}

Options ReadOptions(const std::vector<Text>& arguments, const Text& folder) {
    Options options;
    Text path = folder + L"Configs" + kPathSeparator + L"Relay.ini";
    ReadArguments(options, arguments, path);
    if (!options.fault.empty()) return options;
    if (!std::filesystem::exists(ToPath(path))) {
        options.fault = "there is no file " + ToUtf8(path);
        return options;
    }
    const File file(options, path);
    ReadEngine(options, file);
    ReadGateways(options, file);
    if (options.fault.empty() && options.desks.empty() && !options.read)
        options.fault = "no gateway is named in " + ToUtf8(path);
    const auto isMeant = [&](const DeskOptions& desk) { return desk.name == options.onlyDesk; };
    if (!options.onlyDesk.empty() &&
        std::none_of(options.desks.begin(), options.desks.end(), isMeant))
        options.fault = "no gateway is the desk " + options.onlyDesk;
    return options;
}

} // namespace halvane::relay
