#pragma once

#include "clients/cpp/halvane.h"
#include "doctor/Ini.h"

#include <filesystem>
#include <map>

namespace halvane::doctor {

enum class Level { Ok, Warn, Fail, Skipped };

// What a check has found, in UTF-8, and what a person can do about it.
struct Finding {
    Level level = Level::Ok;
    std::string found;
    std::string remedy = {}; // of Warn and Fail
};

inline Finding Ok(std::string found) { return {Level::Ok, std::move(found)}; }
inline Finding Skipped(std::string why) { return {Level::Skipped, std::move(why)}; }
inline Finding Warn(std::string found, std::string remedy) {
    return {Level::Warn, std::move(found), std::move(remedy)};
}
inline Finding Fail(std::string found, std::string remedy) {
    return {Level::Fail, std::move(found), std::move(remedy)};
}

// What the command line says. The host address, system name and key are those of the gateway.
struct Request {
    std::string hostAddress, systemName, serviceKey;
    bool json = false;  // for support
    bool wait = false;  // for the next heartbeat
    bool login = false; // to the platform itself
};

// What is known of the gateway that is looked at, filled as the checks go.
struct Case {
    Request request;
    std::filesystem::path folder; // of the program and the doctor
    std::string log;              // of the last start, as far as it was read
    std::string address;          // at which it listens
    bool hasDoors = false;        // encrypted ones, that other machines reach
    bool runs = false;
    int port = 0; // of requests
    std::unique_ptr<client::Client> client;
    client::State state; // after the connection was tried
    bool isHeld = false; // STATUS says that a request does not come to its end
    std::vector<client::Message> accounts;
    bool loggedOnPaper = false; // the last start said so
    bool statusOnPaper = false; // STATUS says so
    bool statusLive = false;    // STATUS says that it is not

    bool IsPaper() const { return request.hostAddress.starts_with("paper:"); }
    bool IsNamed() const { return !request.systemName.empty(); }
};

// One thing that is looked at. It is not, when one that it `needs` has failed or was not looked at.
struct Check {
    const char* name;
    const char* needs;
    Finding (*look)(Case&);
};

// Of files.
Finding LookAtProgram(Case& patient);
Finding LookAtZmqIni(Case& patient);
Finding LookAtFeedIni(Case& patient);
Finding LookAtAccessIni(Case& patient);
Finding LookAtDeskIni(Case& patient);
Finding LookAtTradeApiIni(Case& patient);
Finding LookAtLogFolder(Case& patient);
Finding LookAtLogGrowth(Case& patient);
Finding LookAtLastStart(Case& patient);
Finding LookAtDisk(Case& patient);

// Of the component.
Finding LookAtComponentFile(Case& patient);
Finding LookAtComponentBits(Case& patient);
Finding LookAtComponentClasses(Case& patient);
Finding LookAtRegisteredClasses(Case& patient);
Finding LookAtPlatformLogIn(Case& patient);

// Of the machine.
Finding LookAtClock(Case& patient);
Finding LookAtZone(Case& patient);
Finding LookAtDescriptors(Case& patient);
Finding LookAtAddress(Case& patient);
Finding LookAtDoors(Case& patient);
Finding LookAtFirewall(Case& patient);
Finding LookAtInstance(Case& patient);
Finding LookAtRequestPort(Case& patient);
Finding LookAtRelayPort(Case& patient);
Finding LookAtPublishPorts(Case& patient);

// Of the gateway that runs.
Finding LookAtConnection(Case& patient);
Finding LookAtLogIn(Case& patient);
Finding LookAtSubscription(Case& patient);
Finding LookAtAnswers(Case& patient);
Finding LookAtStatus(Case& patient);
Finding LookAtAccounts(Case& patient);
Finding LookAtOrder(Case& patient);
Finding LookAtHeartbeat(Case& patient);

} // namespace halvane::doctor
