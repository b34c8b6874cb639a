#include "desk/Options.h"

#include "foundation/support/IniFile.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Process.h"
#include "foundation/support/Strings.h"
#include "foundation/support/Utf.h"

#include <algorithm>
#include <utility>

namespace halvane::desk {

const char* const kUsage =
    "HalvaneDesk [[--gateway HOST[:PORT]] --system NAME --key KEY [--logs FOLDER]]...\n"
    "            [--port N] [--address IP] [--open]\n"
    "\n"
    "Shows gateways on a page for a browser on this machine and prints its address.\n"
    "Without gateways here, Configs/Desk.ini beside the program names them.\n";

namespace {

constexpr int kFirstPort = 8765;
constexpr int kPorts = 20; // tried, when none was asked for
constexpr int kMostGateways = 8;

// A gateway and what it was given so far.
struct Draft {
    Text host = L"127.0.0.1";
    Text port;
    Text system;
    Text key;
    Text logs;
};

bool IsPort(const Text& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), IsDigit) &&
           ToInt64(text) <= 65535;
}

void SetPlace(Draft& draft, const Text& place) {
    const std::size_t colon = place.rfind(L':');
    draft.host = place.substr(0, colon);
    if (colon != Text::npos) draft.port = place.substr(colon + 1);
}

bool IsHere(const Text& host) { return host == L"localhost" || host.starts_with(L"127."); }

void AddGateway(Options& options, const Draft& draft, const Text& folder) {
    if (draft.system.empty() || draft.key.empty())
        options.fault = "every gateway needs a system name and a key";
    if (!draft.port.empty() && !IsPort(draft.port))
        options.fault = "a port is a number: " + ToUtf8(draft.port);
    Watched watched;
    watched.gateway.host = ToUtf8(draft.host);
    watched.gateway.port = ToInt32(draft.port);
    watched.gateway.systemName = ToUtf8(draft.system);
    watched.gateway.serviceKey = ToUtf8(draft.key);
    watched.logs = draft.logs;
    if (draft.logs.empty() && IsHere(draft.host)) watched.logs = folder + L"logs";
    options.gateways.push_back(std::move(watched));
}

void SetPort(Options& options, const Text& port) {
    if (!IsPort(port)) options.fault = "a port is a number: " + ToUtf8(port);
    options.server.port = ToInt32(port);
    options.server.ports = 1;
}

void ReadFile(Options& options, std::vector<Draft>& drafts, const Text& folder) {
    const Text file = folder + L"Configs" + kPathSeparator + L"Desk.ini";
    const Text port = ReadIniText(file, L"Desk", L"Port", L"");
    if (!port.empty()) SetPort(options, port);
    options.server.address = ToUtf8(ReadIniText(file, L"Desk", L"Address", L"127.0.0.1"));
    options.open = ReadIniText(file, L"Desk", L"Open", L"") == L"1";
    for (int number = 1; number <= kMostGateways; ++number) {
        const Text section = L"Gateway" + DecimalText(number);
        Draft draft;
        draft.system = ReadIniText(file, section, L"System", L"");
        if (draft.system.empty()) continue;
        SetPlace(draft, ReadIniText(file, section, L"Address", L"127.0.0.1"));
        draft.key = ReadIniText(file, section, L"Key", L"");
        draft.logs = ReadIniText(file, section, L"Logs", L"");
        drafts.push_back(std::move(draft));
    }
}

// --gateway begins a gateway, and so does a --system that the one before has already.
Draft& DraftFor(std::vector<Draft>& drafts, const Text& option) {
    if (drafts.empty() || option == L"--gateway" ||
        (option == L"--system" && !drafts.back().system.empty()))
        drafts.emplace_back();
    return drafts.back();
}

bool SetOfGateway(std::vector<Draft>& drafts, const Text& option, const Text& value) {
    if (option == L"--gateway")
        SetPlace(DraftFor(drafts, option), value);
    else if (option == L"--system")
        DraftFor(drafts, option).system = value;
    else if (option == L"--key")
        DraftFor(drafts, option).key = value;
    else if (option == L"--logs")
        DraftFor(drafts, option).logs = value;
    else
        return false;
    return true;
}

void ReadArguments(Options& options, std::vector<Draft>& drafts,
                   const std::vector<Text>& arguments) {
    for (std::size_t i = 0; i < arguments.size() && options.fault.empty(); ++i) {
        const Text& option = arguments[i];
        if (option == L"--open") {
            options.open = true;
        } else if (i + 1 == arguments.size()) {
            options.fault = "unknown, or without a value: " + ToUtf8(option);
        } else {
            const Text& value = arguments[++i];
            if (option == L"--port")
                SetPort(options, value);
            else if (option == L"--address")
                options.server.address = ToUtf8(value);
            else if (!SetOfGateway(drafts, option, value))
                options.fault = "unknown: " + ToUtf8(option);
        }
    }
}

} // namespace

Options ReadOptions(const std::vector<Text>& arguments, const Text& folder) {
    Options options;
    options.server.port = kFirstPort;
    options.server.ports = kPorts;
    std::vector<Draft> fromFile;
    std::vector<Draft> fromArguments;
    ReadFile(options, fromFile, folder);
    ReadArguments(options, fromArguments, arguments);
    for (const Draft& draft : fromArguments.empty() ? fromFile : fromArguments)
        AddGateway(options, draft, folder);
    if (options.fault.empty() && options.gateways.empty()) options.fault = "no gateway is named";
    return options;
}

} // namespace halvane::desk
