#include "doctor/Checks.h"
#include "doctor/Machine.h"
#include "foundation/support/IniFile.h"
#include "foundation/support/InstanceGuard.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Utf.h"
#include "foundation/support/Zmq.h"

#include <algorithm>
#include <cstdlib>

namespace halvane::doctor {
namespace {

constexpr std::uint64_t kFewDescriptors = 1024;
constexpr std::uint64_t kTooFewDescriptors = 256;
constexpr int kRelayBelow = 10'000;
constexpr int kFirstPublishPort = 50'000;
constexpr int kPublishPorts = 10'000;
constexpr const char* kNameIt = "the system name was not given";

std::string OffsetText(int minutes) {
    char text[16];
    std::snprintf(text, sizeof text, "%c%02d:%02d", minutes < 0 ? '-' : '+', std::abs(minutes) / 60,
                  std::abs(minutes) % 60);
    return text;
}

bool IsLoopback(const std::string& address) {
    return address.starts_with("127.") || address == "localhost" || address == "lo";
}

// As the gateway will: what the library takes for an address is one.
bool IsOfThisMachine(const Text& ip) {
    const ZmqContext context = MakeZmqContext();
    const ZmqSocket socket(zmq_socket(context.get(), ZMQ_ROUTER));
    SetZmqOption(socket.get(), ZMQ_LINGER, 0);
    return BindTcp(socket.get(), ip, 0);
}

// Where the system does not tell whose a port is, the log's word counts.
bool IsGateway(const Listener& listener, bool isLogged) {
    return listener.program.empty() ? isLogged : listener.program.starts_with("Halvane64");
}

std::optional<Listener> ListenerAt(int port) {
    for (const Listener& each : Listeners()) {
        if (each.port == port) return each;
    }
    return {};
}

std::string NameOf(const Listener& listener) {
    if (listener.program.empty()) return "a program of another user";
    return listener.program + ", process " + std::to_string(listener.process);
}

std::string PortText(int port) { return "port " + std::to_string(port); }

// The request port that belongs to the system name is someone else's.
Finding Taken(const Case& patient, const Listener& listener, int port) {
    const std::string moved = patient.runs && patient.port > 0
                                  ? "; the gateway serves at " + std::to_string(patient.port)
                                  : "";
    return Warn(PortText(port) + " is taken by " + NameOf(listener) + moved,
                "end that program, or tell clients the port of the log's line RepPort: the gateway "
                "takes the next free one");
}

} // namespace

Finding LookAtZone(Case&) {
    const Zone zone = LocalZone();
    const std::string found = zone.name + ", " + OffsetText(zone.offsetMinutes) + " now";
    if (zone.isKnown) return Ok(found);
    return Warn(found + ": the system does not know this zone and takes UTC",
                "correct TZ, or the system's zone: the log's times are local ones");
}

Finding LookAtDescriptors(Case&) {
    const std::optional<std::uint64_t> most = MostDescriptors();
    if (!most) return Ok("no limit on this system");
    const std::string found = std::to_string(*most) + " files and sockets at once";
    const char* remedy =
        "raise the limit (ulimit -Hn): each client takes two, and the gateway some 60";
    if (*most < kTooFewDescriptors) return Fail(found, remedy);
    return *most < kFewDescriptors ? Warn(found, remedy) : Ok(found);
}

Finding LookAtAddress(Case& patient) {
    const Text file = FromPath(patient.folder / "Configs" / "ZMQ.ini");
    const Text ip = ReadIniText(file, L"ZMQ", L"IP", L"127.0.0.1");
    patient.address = ToUtf8(ip);
    if (!IsOfThisMachine(ip)) {
        return Fail(
            "\"" + patient.address + "\" is no address of this machine",
            "write one of this machine's addresses into IP of Configs/ZMQ.ini, or remove the line");
    }
    if (IsLoopback(patient.address)) return Ok(patient.address + ", for this machine alone");
    return Ok(patient.address + ": others on the network can reach it");
}

Finding LookAtDoors(Case& patient) {
    const Text file = FromPath(patient.folder / "Configs" / "Access.ini");
    const Text ip = ReadIniText(file, L"Access", L"IP", L"");
    const Text port = ReadIniText(file, L"Access", L"RequestPort", L"");
    const std::string address = ToUtf8(ip);
    if (ip.empty() && port.empty()) return Ok("closed");
    if (ip.empty() || ToInt32(port) <= 0) {
        return Fail("they stay closed: IP is \"" + address + "\" and RequestPort \"" +
                        ToUtf8(port) + "\"",
                    "give both in Configs/Access.ini, or neither");
    }
    if (!IsOfThisMachine(ip)) {
        return Fail("\"" + address + "\" is no address of this machine",
                    "write one of this machine's addresses into IP of Configs/Access.ini");
    }
    patient.hasDoors = !IsLoopback(address);
    return Ok("encrypted, at " + address + ":" + ToUtf8(port));
}

Finding LookAtFirewall(Case& patient) {
    if (IsLoopback(patient.address) && !patient.hasDoors)
        return Skipped("nobody outside is served");
    const std::optional<std::string> against = FirewallAgainst(patient.folder / "Halvane64.exe");
    if (!against) return Ok("nothing found that keeps others out");
    return Warn("the firewall is on (" + *against + ") and has no rule for Halvane64",
                "allow incoming connections to Halvane64.exe in the firewall, for the networks "
                "that need it");
}

Finding LookAtInstance(Case& patient) {
    if (!patient.IsNamed()) return Skipped(kNameIt);
    const std::string& name = patient.request.systemName;
    patient.runs = InstanceGuard::IsHeld(FromUtf8(name).value_or(L""));
    return Ok(patient.runs ? "a gateway runs for " + name : "no gateway runs for " + name);
}

Finding LookAtRequestPort(Case& patient) {
    if (!patient.IsNamed()) return Skipped(kNameIt);
    const int port = client::RequestPortOf(patient.request.systemName);
    const std::optional<Listener> listener = ListenerAt(port);
    const bool isServed = patient.runs && listener && IsGateway(*listener, patient.port == port);
    if (!patient.runs || patient.port == 0) patient.port = port;
    if (listener && (!isServed || patient.port != port)) return Taken(patient, *listener, port);
    if (isServed) return Ok(PortText(port) + ", where the gateway listens");
    if (!patient.runs) return Ok(PortText(port) + " is free");
    if (patient.port != port && ListenerAt(patient.port)) {
        return Warn("the gateway serves at " + std::to_string(patient.port) + " and not at " +
                        std::to_string(port) + ", which was taken when it started",
                    "restart it, or tell clients the port of the log's line RepPort");
    }
    return Fail("the gateway runs, and nobody listens at " + PortText(port),
                "the platform is not ready: look at it, and at the last lines of the log");
}

Finding LookAtRelayPort(Case& patient) {
    if (!patient.IsNamed()) return Skipped(kNameIt);
    const int port = patient.port - kRelayBelow;
    const std::optional<Listener> listener = ListenerAt(port);
    if (!listener) return Ok(PortText(port) + " is free");
    if (patient.runs && IsGateway(*listener, true))
        return Ok(PortText(port) + " is the gateway's own");
    return Warn(
        PortText(port) + " is taken by " + NameOf(*listener),
        "nothing, if the gateway runs: it has taken the next free one; else end that program");
}

Finding LookAtPublishPorts(Case&) {
    int taken = 0;
    for (const Listener& each : Listeners()) {
        if (each.port >= kFirstPublishPort && each.port <= kFirstPublishPort + kPublishPorts)
            taken++;
    }
    const std::string found = std::to_string(taken) + " of the ports from 50000 to 60000 are taken";
    if (taken * 2 < kPublishPorts) return Ok(found);
    return Warn(found, "find who listens at so many: the gateway needs a free one to publish at");
}

} // namespace halvane::doctor
