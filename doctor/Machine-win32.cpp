#include "doctor/Machine.h"

#include "foundation/support/Text.h"
#include "foundation/support/Utf.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <windows.h>

#include <iphlpapi.h>

#include <memory>

namespace halvane::doctor {
namespace {

namespace fs = std::filesystem;

constexpr wchar_t kFirewall[] =
    L"SYSTEM\\CurrentControlSet\\Services\\SharedAccess\\Parameters\\FirewallPolicy";

struct CloseTheHandle {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseTheHandle>;

std::string ProgramOf(DWORD process) {
    const Handle handle(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process));
    wchar_t path[1024];
    auto length = static_cast<DWORD>(std::size(path));
    if (!handle || !QueryFullProcessImageNameW(handle.get(), 0, path, &length)) return {};
    return ToUtf8(FromPath(fs::path(path).filename()));
}

template <class Row> void Append(const Row& row, std::vector<Listener>& listeners) {
    listeners.push_back({ntohs(static_cast<u_short>(row.dwLocalPort)), row.dwOwningPid, {}});
}

template <class Table> void AppendListeners(ULONG family, std::vector<Listener>& listeners) {
    DWORD size = 0;
    GetExtendedTcpTable(nullptr, &size, FALSE, family, TCP_TABLE_OWNER_PID_LISTENER, 0);
    std::vector<std::uint64_t> room(size / sizeof(std::uint64_t) + 1024);
    size = static_cast<DWORD>(room.size() * sizeof(std::uint64_t));
    auto* table = reinterpret_cast<Table*>(room.data());
    if (GetExtendedTcpTable(table, &size, FALSE, family, TCP_TABLE_OWNER_PID_LISTENER, 0) !=
        NO_ERROR) {
        return;
    }
    for (DWORD i = 0; i < table->dwNumEntries; i++)
        Append(table->table[i], listeners);
}

DWORD RegistryNumber(const Text& key, const wchar_t* name) {
    DWORD number = 0;
    DWORD size = sizeof number;
    RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, RRF_RT_REG_DWORD, nullptr, &number, &size);
    return number;
}

// Whether one of the firewall's rules lets others in to the program.
bool IsLetIn(const Text& program) {
    HKEY key = nullptr;
    const Text path = Text(kFirewall) + L"\\FirewallRules";
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
        return false;
    }
    bool found = false;
    std::vector<wchar_t> rule(32'768);
    for (DWORD i = 0; !found; i++) {
        wchar_t name[512];
        auto nameSize = static_cast<DWORD>(std::size(name));
        auto ruleBytes = static_cast<DWORD>(rule.size() * sizeof(wchar_t));
        if (RegEnumValueW(key, i, name, &nameSize, nullptr, nullptr,
                          reinterpret_cast<BYTE*>(rule.data()), &ruleBytes) != ERROR_SUCCESS) {
            break;
        }
        const TextView text(rule.data(), ruleBytes / sizeof(wchar_t));
        const auto holds = [&](TextView part) { return text.find(part) != TextView::npos; };
        found =
            holds(L"Action=Allow") && holds(L"Active=TRUE") && holds(L"Dir=In") && holds(program);
    }
    RegCloseKey(key);
    return found;
}

} // namespace

std::vector<Listener> Listeners() {
    std::vector<Listener> listeners;
    AppendListeners<MIB_TCPTABLE_OWNER_PID>(AF_INET, listeners);
    AppendListeners<MIB_TCP6TABLE_OWNER_PID>(AF_INET6, listeners);
    for (Listener& each : listeners)
        each.program = ProgramOf(each.process);
    return listeners;
}

// Asks for the right and makes nothing.
bool MayWriteIn(const fs::path& folder) {
    const HANDLE handle = CreateFileW(folder.c_str(), FILE_ADD_FILE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return false;
    CloseHandle(handle);
    return true;
}

std::optional<bool> IsClockKept() {
    const SC_HANDLE services = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    if (services == nullptr) return {};
    const SC_HANDLE keeper = OpenServiceW(services, L"W32Time", SERVICE_QUERY_STATUS);
    SERVICE_STATUS status{};
    std::optional<bool> kept;
    if (keeper != nullptr && QueryServiceStatus(keeper, &status)) {
        kept = status.dwCurrentState == SERVICE_RUNNING;
    }
    if (keeper != nullptr) CloseServiceHandle(keeper);
    CloseServiceHandle(services);
    return kept;
}

Zone LocalZone() {
    TIME_ZONE_INFORMATION zone{};
    const DWORD season = GetTimeZoneInformation(&zone);
    const bool summer = season == TIME_ZONE_ID_DAYLIGHT;
    const LONG bias = zone.Bias + (summer ? zone.DaylightBias : zone.StandardBias);
    return {ToUtf8(Text(summer ? zone.DaylightName : zone.StandardName)), static_cast<int>(-bias),
            season != TIME_ZONE_ID_INVALID};
}

std::optional<std::uint64_t> MostDescriptors() { return {}; }

std::optional<std::string> FirewallAgainst(const fs::path& program) {
    std::string against;
    const std::pair<const wchar_t*, const char*> profiles[] = {{L"DomainProfile", "domain"},
                                                               {L"StandardProfile", "private"},
                                                               {L"PublicProfile", "public"}};
    for (const auto& [key, name] : profiles) {
        if (RegistryNumber(Text(kFirewall) + L"\\" + key, L"EnableFirewall") == 0) continue;
        against.append(against.empty() ? "" : ", ").append(name);
    }
    if (against.empty() || IsLetIn(FromPath(program))) return {};
    return against;
}

std::string MachineName() {
    wchar_t name[256];
    auto length = static_cast<DWORD>(std::size(name));
    if (!GetComputerNameW(name, &length)) length = 0;
    return ToUtf8(Text(name, length)) + ", Windows";
}

} // namespace halvane::doctor
