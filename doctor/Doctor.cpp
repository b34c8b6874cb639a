#include "doctor/Doctor.h"

#include "doctor/Checks.h"
#include "doctor/Machine.h"
#include "foundation/support/Clock.h"
#include "foundation/support/Process.h"
#include "foundation/support/Utf.h"

#include <algorithm>
#include <cstdio>

namespace halvane::doctor {
namespace {

constexpr const char* kUsage =
    "HalvaneDoctor [--json] [--wait] [--login] [HostAddress SystemName ServiceKey ...]\n"
    "\n"
    "Says what is wrong with a gateway and what to do. Start it in the folder of Halvane64 with "
    "the same\n"
    "arguments; without them the gateway itself is not asked. It changes nothing.\n"
    "\n"
    "--json   for support: the same as JSON, without the key\n"
    "--wait   wait up to 25 s for the next heartbeat; otherwise it takes less than 10 s\n"
    "--login  log in to the platform itself, if no gateway runs (Windows)\n"
    "\n"
    "On the paper platform it sends an order for one share that cannot be filled. The exit code is "
    "0 when all\n"
    "is well, 1 when something is to be minded, 2 when something is wrong.\n";

// In the order in which they are done. Where a thing can be wrong for two reasons, the reason comes
// first, and what it breaks `needs` it.
constexpr Check kChecks[] = {
    // clang-format off
    {"program",            "",                   LookAtProgram},
    {"component file",     "",                   LookAtComponentFile},
    {"component bits",     "component file",     LookAtComponentBits},
    {"TradeApi.ini",       "",                   LookAtTradeApiIni},
    {"component classes",  "component bits",     LookAtComponentClasses},
    {"registered classes", "",                   LookAtRegisteredClasses},
    {"ZMQ.ini",            "",                   LookAtZmqIni},
    {"Feed.ini",           "",                   LookAtFeedIni},
    {"Access.ini",         "",                   LookAtAccessIni},
    {"Desk.ini",           "",                   LookAtDeskIni},
    {"address",            "ZMQ.ini",            LookAtAddress},
    {"doors",              "Access.ini",         LookAtDoors},
    {"firewall",           "address",            LookAtFirewall},
    {"log folder",         "",                   LookAtLogFolder},
    {"log growth",         "log folder",         LookAtLogGrowth},
    {"last start",         "log folder",         LookAtLastStart},
    {"disk",               "",                   LookAtDisk},
    {"clock",              "",                   LookAtClock},
    {"zone",               "",                   LookAtZone},
    {"descriptors",        "",                   LookAtDescriptors},
    {"instance",           "",                   LookAtInstance},
    {"request port",       "instance",           LookAtRequestPort},
    {"relay port",         "request port",       LookAtRelayPort},
    {"publish ports",      "",                   LookAtPublishPorts},
    {"connection",         "request port",       LookAtConnection},
    {"log-in",             "connection",         LookAtLogIn},
    {"subscription",       "log-in",             LookAtSubscription},
    {"status",             "subscription",       LookAtStatus},
    {"answers",            "subscription",       LookAtAnswers},
    {"accounts",           "answers",            LookAtAccounts},
    {"paper order",        "accounts",           LookAtOrder},
    {"heartbeat",          "subscription",       LookAtHeartbeat},
    {"platform log-in",    "component classes",  LookAtPlatformLogIn},
    // clang-format on
};

struct Result {
    const Check* check;
    Finding finding;
};

const char* NameOf(Level level) {
    constexpr const char* kNames[] = {"ok", "warn", "fail", "-"};
    return kNames[static_cast<int>(level)];
}

// Nothing when they make no sense.
std::optional<Request> ReadWords(const std::vector<std::string>& words) {
    Request request;
    std::vector<std::string> names;
    for (const std::string& word : words) {
        if (word == "--json") {
            request.json = true;
        } else if (word == "--wait") {
            request.wait = true;
        } else if (word == "--login") {
            request.login = true;
        } else if (word.starts_with("--")) {
            return {};
        } else {
            names.push_back(word);
        }
    }
    if (!names.empty() && names.size() < 3) return {};
    if (names.size() >= 3) {
        request.hostAddress = names[0];
        request.systemName = names[1];
        request.serviceKey = names[2];
    }
    return request;
}

// A thing whose ground was skipped because nobody asked for it is skipped as well.
Finding LookAt(const Check& check, Case& patient, const std::vector<Result>& results) {
    for (const Result& ground : results) {
        const Level level = ground.finding.level;
        if (std::string(check.needs) != ground.check->name) continue;
        if (level == Level::Fail) return Skipped(std::string("see ") + check.needs);
        if (level == Level::Skipped) return Skipped(ground.finding.found);
    }
    try {
        return check.look(patient);
    } catch (const std::exception& error) {
        return Warn("cannot be looked at: " + ToUtf8(ReasonOf(error)), "tell support");
    }
}

void Print(const Result& result) {
    std::printf("%-5s %-19s %s\n", NameOf(result.finding.level), result.check->name,
                result.finding.found.c_str());
    if (!result.finding.remedy.empty())
        std::printf("%26s> %s\n", "", result.finding.remedy.c_str());
    std::fflush(stdout);
}

Level WorstOf(const std::vector<Result>& results) {
    Level worst = Level::Ok;
    for (const Result& each : results) {
        if (each.finding.level != Level::Skipped) worst = std::max(worst, each.finding.level);
    }
    return worst;
}

std::string Summary(const std::vector<Result>& results) {
    const Level worst = WorstOf(results);
    if (worst == Level::Fail) return "Something is wrong.";
    if (worst == Level::Warn) return "Something is to be minded.";
    for (const Result& each : results) {
        const bool isUnasked = each.check->look == LookAtConnection;
        if (isUnasked && each.finding.level == Level::Skipped) {
            return "Nothing wrong was found. The gateway itself was not asked: " +
                   each.finding.found + ".";
        }
    }
    return "All is well.";
}

void PrintJson(const std::vector<Result>& results) {
    std::string checks;
    for (const Result& each : results) {
        client::Members line{{"Name", each.check->name},
                             {"Level", each.finding.level == Level::Skipped
                                           ? "skipped"
                                           : NameOf(each.finding.level)},
                             {"Found", each.finding.found}};
        if (!each.finding.remedy.empty()) line.Text("Do", each.finding.remedy);
        checks.append(checks.empty() ? "" : ",").append("{" + line.Inside() + "}");
    }
    client::Members report{{"When", ToUtf8(UtcText(TheClock().UnixTimeMs()))},
                           {"Version", HALVANE_VERSION},
                           {"Machine", MachineName()},
                           {"Result", NameOf(WorstOf(results))}};
    report.Json("Checks", "[" + checks + "]");
    std::printf("{%s}\n", report.Inside().c_str());
}

} // namespace

int RunDoctor(const std::vector<std::string>& words) {
    std::optional<Request> request = ReadWords(words);
    if (!request) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    Case patient;
    patient.request = *std::move(request);
    patient.folder = ToPath(ExecutableFolder());
    std::vector<Result> results;
    for (const Check& check : kChecks) {
        results.push_back({&check, LookAt(check, patient, results)});
        if (!patient.request.json) Print(results.back());
    }
    patient.client.reset(); // logs out
    const Level worst = WorstOf(results);
    if (patient.request.json) {
        PrintJson(results);
    } else {
        std::printf("\n%s\n", Summary(results).c_str());
    }
    return static_cast<int>(worst);
}

} // namespace halvane::doctor
