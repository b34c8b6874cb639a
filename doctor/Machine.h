#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace halvane::doctor {

// What the operating system says. Nothing of this takes a port, a file or a lock.

// Who listens at a TCP port; the program is "" where the system does not tell.
struct Listener {
    int port = 0;
    std::uint32_t process = 0;
    std::string program;
};
std::vector<Listener> Listeners();

// Whether this user may make files in the folder.
bool MayWriteIn(const std::filesystem::path& folder);

// Whether the clock is kept by a time service; nothing where the system does not tell.
std::optional<bool> IsClockKept();

struct Zone {
    std::string name;
    int offsetMinutes = 0; // east of UTC, now
    bool isKnown = true;   // false: the name means nothing here, and UTC takes its place
};
Zone LocalZone();

// The most descriptors that a process may have; nothing where there is no such limit.
std::optional<std::uint64_t> MostDescriptors();

// What a firewall of the system does to others that call this program: nothing where it is off or
// not known; else the profiles that are on and let nobody in.
std::optional<std::string> FirewallAgainst(const std::filesystem::path& program);

// The name of the machine and its system, for support.
std::string MachineName();

} // namespace halvane::doctor
