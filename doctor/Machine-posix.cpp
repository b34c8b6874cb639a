#include "doctor/Machine.h"

#include "foundation/support/Clock.h"

#include <sys/resource.h>
#include <sys/timex.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

namespace halvane::doctor {
namespace {

namespace fs = std::filesystem;

constexpr const char* kListening = "0A";

// The ports that are listened at, by the number that the kernel gives the socket.
std::map<std::string, int> ListeningSockets() {
    std::map<std::string, int> sockets;
    for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        std::ifstream file(table);
        std::string line;
        std::getline(file, line);
        while (std::getline(file, line)) {
            std::istringstream fields(line);
            std::string slot, local, remote, state, queues, timer, retransmits, user, timeout,
                inode;
            fields >> slot >> local >> remote >> state >> queues >> timer >> retransmits >> user >>
                timeout >> inode;
            if (state != kListening) continue;
            sockets[inode] = static_cast<int>(
                std::strtol(local.substr(local.rfind(':') + 1).c_str(), nullptr, 16));
        }
    }
    return sockets;
}

std::string ProgramOf(const fs::path& process) {
    std::error_code error;
    return fs::read_symlink(process / "exe", error).filename().string();
}

// Takes those that the process holds out of `sockets`.
void FindHolder(const fs::path& process, std::map<std::string, int>& sockets,
                std::vector<Listener>& listeners) {
    std::error_code error;
    for (fs::directory_iterator each(process / "fd", error), end; !error && each != end;
         each.increment(error)) {
        std::error_code unread;
        const std::string target = fs::read_symlink(each->path(), unread).string();
        if (!target.starts_with("socket:[")) continue;
        const auto found = sockets.find(target.substr(8, target.size() - 9));
        if (found == sockets.end()) continue;
        const auto id = static_cast<std::uint32_t>(std::atoi(process.filename().c_str()));
        listeners.push_back({found->second, id, ProgramOf(process)});
        sockets.erase(found);
    }
}

} // namespace

std::vector<Listener> Listeners() {
    std::map<std::string, int> sockets = ListeningSockets();
    std::vector<Listener> listeners;
    std::error_code error;
    for (fs::directory_iterator each("/proc", error), end;
         !error && each != end && !sockets.empty(); each.increment(error)) {
        if (std::atoi(each->path().filename().c_str()) > 0) {
            FindHolder(each->path(), sockets, listeners);
        }
    }
    for (const auto& [inode, port] : sockets)
        listeners.push_back({port, 0, {}});
    return listeners;
}

bool MayWriteIn(const fs::path& folder) { return access(folder.c_str(), W_OK | X_OK) == 0; }

std::optional<bool> IsClockKept() {
    timex state{};
    const int said = adjtimex(&state);
    if (said < 0) return {};
    return said != TIME_ERROR && (state.status & STA_UNSYNC) == 0;
}

Zone LocalZone() {
    const std::tm now = ToLocalParts(static_cast<std::time_t>(TheClock().UnixTimeMs() / 1000));
    Zone zone{now.tm_zone ? now.tm_zone : "", static_cast<int>(now.tm_gmtoff / 60)};
    const char* named = std::getenv("TZ");
    if (!named || !*named) return zone;
    const std::string name = *named == ':' ? named + 1 : named;
    // A rule such as "CET-1CEST" is no file; one with a slash has to be.
    const fs::path file = fs::path(name).is_absolute() ? name : "/usr/share/zoneinfo/" + name;
    std::error_code error;
    const bool isRule = name.find_first_of("0123456789") != std::string::npos;
    zone.isKnown = fs::exists(file, error) || isRule;
    zone.name = name;
    return zone;
}

std::optional<std::uint64_t> MostDescriptors() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return {};
    return limit.rlim_max; // to which the gateway raises its own
}

std::optional<std::string> FirewallAgainst(const fs::path&) { return {}; }

std::string MachineName() {
    utsname name{};
    uname(&name);
    return std::string(name.nodename) + ", " + name.sysname + " " + name.release;
}

} // namespace halvane::doctor
