#include "doctor/Checks.h"
#include "doctor/Machine.h"
#include "foundation/support/Clock.h"
#include "foundation/support/Process.h"
#include "foundation/support/Utf.h"
#include "tradeapi/ComponentIds.h"

#include <algorithm>
#include <chrono>
#include <fstream>

namespace halvane::doctor {
namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t kMiB = 1 << 20;
constexpr std::uintmax_t kGiB = 1024 * kMiB;
constexpr std::uintmax_t kLittleSpace = 100 * kMiB;
constexpr std::uintmax_t kFewSpace = kGiB;
constexpr std::uintmax_t kManyLogs = 2 * kGiB;
constexpr std::uintmax_t kReadOfLog = 16 * kMiB;
constexpr const char* kLastFile = "Halvane64-";

std::string SizeText(std::uintmax_t bytes) {
    return bytes < 10 * kGiB ? std::to_string(bytes / kMiB) + " MiB"
                             : std::to_string(bytes / kGiB) + " GiB";
}

std::string PathText(const fs::path& path) { return ToUtf8(FromPath(path)); }

struct KnownKey {
    const char* section;
    const char* key;
};

// clang-format off
constexpr KnownKey kZmqKeys[] = {
    {"ZMQ",     "IP"},
    {"Gateway", "Status"},
    {"Gateway", "RefuseUnknownFirst"},
    {"Gateway", "EndRetriesWithSession"},
    {"Gateway", "SessionKey"},
    {"Gateway", "LogControlCharacters"},
    {"Gateway", "LogKeepDays"},
};
constexpr KnownKey kFeedKeys[] = {
    {"Feed",    "On"},
    {"Feed",    "Port"},
    {"Feed",    "Folder"},
    {"Feed",    "Synchronous"},
    {"Feed",    "KeepDays"},
    {"Feed",    "KeepMegabytes"},
    {"Feed",    "QueueMegabytes"},
};
constexpr KnownKey kAccessKeys[] = {
    {"Access",  "IP"},
    {"Access",  "RequestPort"},
    {"Access",  "PublishPort"},
    {"Access",  "Address"},
    {"Access",  "Allow"},
    {"Access",  "AllowAtPlainPorts"},
};
constexpr KnownKey kDeskKeys[] = {
    {"Desk",    "Port"},
    {"Desk",    "Address"},
    {"Desk",    "Open"},
    {"Gateway#", "Address"}, // 1 to 8
    {"Gateway#", "System"},
    {"Gateway#", "Key"},
    {"Gateway#", "Logs"},
};
// clang-format on

std::string Where(const IniLine& line) {
    return "line " + std::to_string(line.number) + ", " +
           (line.key.empty() ? line.value : "[" + line.section + "] " + line.key);
}

template <class Known> bool IsKnown(const IniLine& line, const Known& known) {
    std::string section = line.section;
    if (!section.empty() && section.back() >= '1' && section.back() <= '8') section.back() = '#';
    return std::any_of(std::begin(known), std::end(known), [&](const KnownKey& each) {
        return SameName(each.section, section) && SameName(each.key, line.key);
    });
}

// Settings of which none may be followed by a remark.
template <class Known>
Finding LookAtIni(const fs::path& file, const Known& keys, const char* nothing) {
    std::string unknown;
    int known = 0;
    for (const IniLine& line : ReadIni(file)) {
        if (!IsKnown(line, keys)) {
            unknown.append(unknown.empty() ? "" : "; ").append(Where(line));
        } else if (HoldsRemark(line.value)) {
            return Fail(Where(line) + ": the value is all of \"" + line.value + "\"",
                        "put the remark on a line of its own that begins with a semicolon, and "
                        "restart");
        } else {
            known++;
        }
    }
    if (!unknown.empty()) {
        return Warn("not known, so without effect: " + unknown,
                    "correct the names, as in docs/operations.md, and restart");
    }
    return Ok(known == 0 ? nothing : std::to_string(known) + " settings");
}

std::vector<fs::path> LogFiles(const Case& patient) {
    std::vector<fs::path> files;
    std::error_code error;
    for (const auto& each : fs::directory_iterator(patient.folder / "logs", error)) {
        const std::string name = each.path().filename().string();
        if (name.starts_with(kLastFile) && name.ends_with(".log")) files.push_back(each.path());
    }
    std::sort(files.begin(), files.end(), [](const fs::path& a, const fs::path& b) {
        std::error_code unread;
        return fs::last_write_time(a, unread) < fs::last_write_time(b, unread);
    });
    return files;
}

// The end of the newest file, from the last start on when that is not too far back.
std::string ReadLastStart(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary | std::ios::ate);
    const auto size = static_cast<std::uintmax_t>(std::max<std::streamoff>(stream.tellg(), 0));
    stream.seekg(static_cast<std::streamoff>(size - std::min(size, kReadOfLog)));
    const std::string bytes((std::istreambuf_iterator<char>(stream)), {});
    const std::string text = ToUtf8(FromFileBytes(bytes));
    const std::size_t start = text.rfind("  [INFO ]  exe version : ");
    return start == std::string::npos ? text : text.substr(text.rfind('\n', start) + 1);
}

// The text behind the last occurrence, up to the line's end.
std::string LastBehind(const std::string& text, const std::string& prefix) {
    const std::size_t at = text.rfind(prefix);
    if (at == std::string::npos) return {};
    const std::size_t begin = at + prefix.size();
    return text.substr(begin, text.find_first_of("\r\n", begin) - begin);
}

} // namespace

Finding LookAtProgram(Case& patient) {
    const fs::path program =
        (patient.folder / "Halvane64").replace_extension(ToPath(ExecutablePath()).extension());
    std::error_code error;
    if (fs::is_regular_file(program, error) && fs::file_size(program, error) > 0) {
        return Ok(PathText(program));
    }
    return Fail(
        "there is no " + PathText(program),
        "unpack the whole package into one folder, and leave HalvaneDoctor beside Halvane64");
}

Finding LookAtZmqIni(Case& patient) {
    return LookAtIni(patient.folder / "Configs" / "ZMQ.ini", kZmqKeys,
                     "nothing set: it listens at 127.0.0.1");
}

Finding LookAtFeedIni(Case& patient) {
    return LookAtIni(patient.folder / "Configs" / "Feed.ini", kFeedKeys, "nothing set: no feed");
}

Finding LookAtAccessIni(Case& patient) {
    return LookAtIni(patient.folder / "Configs" / "Access.ini", kAccessKeys,
                     "nothing set: no encrypted doors");
}

Finding LookAtDeskIni(Case& patient) {
    return LookAtIni(patient.folder / "Configs" / "Desk.ini", kDeskKeys,
                     "nothing set: HalvaneDesk shows what its command line names");
}

Finding LookAtTradeApiIni(Case& patient) {
    const fs::path file = patient.folder / "Configs" / "TradeApi.ini";
    std::vector<KnownKey> known = {{"HostEvents", "Interface"},
                                   {"HostEvents", "GeneralServiceUpdate"},
                                   {"HostEvents", "CommandMsg"}};
    std::vector<std::string> classes;
    for (const ComponentClass& each : kComponentClasses)
        classes.push_back(ToUtf8(each.progId));
    for (const std::string& each : classes)
        known.push_back({"ClassId", each.c_str()});
    std::string unknown;
    int set = 0;
    for (const IniLine& line : ReadIni(file)) {
        const bool isId = !SameName(line.section, "HostEvents") || SameName(line.key, "Interface");
        const std::string value = line.value.substr(0, line.value.find_first_of(" \t;"));
        const bool isFit =
            isId ? value.size() == 38 && value.front() == '{' && value.back() == '}'
                 : !value.empty() && value.find_first_not_of("0123456789") == std::string::npos;
        if (!IsKnown(line, known)) {
            unknown.append(unknown.empty() ? "" : "; ").append(Where(line));
        } else if (!isFit) {
            return Fail(
                Where(line) + ": \"" + line.value + "\" is no " + (isId ? "identifier" : "number"),
                "write it as in the file of the package, or put a semicolon before the line");
        } else {
            set++;
        }
    }
    if (!unknown.empty()) {
        return Warn("not known, so without effect: " + unknown,
                    "correct the names, as in docs/windows.md");
    }
    return Ok(set == 0 ? "nothing set: the identifiers that are built in"
                       : std::to_string(set) + " settings");
}

Finding LookAtLogFolder(Case& patient) {
    const fs::path folder = patient.folder / "logs";
    std::error_code error;
    const bool exists = fs::exists(folder, error);
    if (exists && !fs::is_directory(folder, error)) {
        return Fail(PathText(folder) + " is a file",
                    "move it away: the gateway makes the folder itself");
    }
    if (!MayWriteIn(exists ? folder : patient.folder)) {
        return Fail(
            PathText(exists ? folder : patient.folder) + " cannot be written",
            "give the user who runs Halvane64 the right to write there, or unpack it elsewhere");
    }
    return Ok(exists ? PathText(folder) : "not there yet: the gateway makes it");
}

Finding LookAtLogGrowth(Case& patient) {
    std::uintmax_t all = 0;
    std::map<std::string, std::uintmax_t> days;
    for (const fs::path& file : LogFiles(patient)) {
        std::error_code error;
        const std::uintmax_t size = fs::file_size(file, error);
        if (error) continue;
        all += size;
        days[file.filename().string().substr(std::string(kLastFile).size(), 8)] += size;
    }
    std::uintmax_t most = 0;
    for (const auto& [day, size] : days)
        most = std::max(most, size);
    const std::string found = SizeText(all) + " of " + std::to_string(days.size()) +
                              " days, at most " + SizeText(most) + " a day";
    std::error_code error;
    const std::uintmax_t room = fs::space(patient.folder, error).available;
    const bool isFilling = !error && most * 7 > room;
    if (all < kManyLogs && !isFilling) return Ok(found);
    return Warn(found + ", " + SizeText(room) + " are left",
                "move or delete old files of logs; the gateway deletes none");
}

Finding LookAtLastStart(Case& patient) {
    const std::vector<fs::path> files = LogFiles(patient);
    if (files.empty()) return Ok("no log yet");
    patient.log = ReadLastStart(files.back());
    patient.port = std::atoi(LastBehind(patient.log, "]  RepPort:").c_str());
    patient.loggedOnPaper =
        patient.log.find("]  PAPER: this is the paper platform") != std::string::npos;
    const std::string fatal = LastBehind(patient.log, "[FATAL]  ");
    const std::string error = LastBehind(patient.log, "[ERROR]  ");
    const std::string name = files.back().filename().string();
    if (!fatal.empty() && fatal != "parse failed for json data") {
        return Warn(name + ": " + fatal.substr(0, 200),
                    "docs/operations.md says of every line what to do; then start it again");
    }
    return Ok(name + (error.empty() ? ": no Fatal line"
                                    : ": the last Error was: " + error.substr(0, 120)));
}

Finding LookAtDisk(Case& patient) {
    std::error_code error;
    const std::uintmax_t room = fs::space(patient.folder, error).available;
    if (error) return Warn("the system does not tell: " + error.message(), "look at the disk");
    const std::string found = SizeText(room) + " are left at " + PathText(patient.folder);
    if (room < kLittleSpace) return Fail(found, "make room: the log loses lines on a full disk");
    if (room < kFewSpace) return Warn(found, "make room before the log fills it");
    return Ok(found);
}

Finding LookAtClock(Case& patient) {
    const std::int64_t now = TheClock().UnixTimeMs();
    constexpr std::int64_t kEarliest =
        1'780'000'000'000; // no clock was right before this was built
    if (now < kEarliest) return Fail(ToUtf8(UtcText(now)), "set the clock");
    const std::vector<fs::path> files = LogFiles(patient);
    std::error_code error;
    if (!files.empty()) {
        const auto age =
            fs::file_time_type::clock::now() - fs::last_write_time(files.back(), error);
        if (!error && age < -std::chrono::minutes(2)) {
            return Fail(
                ToUtf8(UtcText(now)) + ", but the log was written later than that",
                "set the clock: it has gone back, and today's lines will stand among others");
        }
    }
    const std::optional<bool> kept = IsClockKept();
    return Ok(ToUtf8(UtcText(now)) + (!kept   ? ""
                                      : *kept ? ", kept by a time service"
                                              : ", kept by no time service"));
}

} // namespace halvane::doctor
