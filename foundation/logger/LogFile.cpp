#include "foundation/logger/LogFile.h"

#include "foundation/logger/LogErrors.h"
#include "foundation/support/Clock.h"
#include "foundation/support/Format.h"
#include "foundation/support/Process.h"
#include "foundation/support/Utf.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>

namespace halvane {
namespace {

constexpr std::int64_t kLargest = 104'857'600; // 100 MiB
constexpr std::uint32_t kBadPath = 3;

std::chrono::year_month_day DayOf(const LocalTime& day) {
    return std::chrono::year(day.year) / day.month / day.day;
}

// The day in "-YYYYMMDD-N".
std::optional<std::chrono::sys_days> DayIn(const std::string& mark) {
    int year = 0, month = 0, day = 0;
    constexpr std::size_t kShortest = 11;
    const bool marks = mark.size() >= kShortest && mark[0] == '-' && mark[9] == '-' &&
                       mark.find_first_not_of("0123456789", 10) == std::string::npos;
    if (!marks || std::sscanf(mark.c_str(), "-%4d%2d%2d-", &year, &month, &day) != 3)
        return std::nullopt;
    const std::chrono::year_month_day date(std::chrono::year(year),
                                           std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day)));
    return date.ok() ? std::optional<std::chrono::sys_days>(date) : std::nullopt;
}

} // namespace

Text LogFile::DefaultPath() {
    const Text executable = ExecutablePath();
    const Text name = executable.substr(executable.rfind(kPathSeparator) + 1);
    return ExecutableFolder() + L"logs" + kPathSeparator + name.substr(0, name.rfind(L'.')) +
           L".log";
}

void LogFile::SetBase(const Text& fileName) {
    Forget();
    base_ = FullPath(fileName);
    const std::size_t separator = base_.rfind(kPathSeparator);
    directory_ = separator == Text::npos ? Text() : base_.substr(0, separator);
}

void LogFile::Forget() {
    base_.clear();
    directory_.clear();
    name_.clear();
    day_ = {};
    torn_ = false;
}

void LogFile::KeepDays(int days) {
    if (days == keepDays_) return;
    keepDays_ = days;
    tidied_ = false;
}

std::int32_t LogFile::Open() {
    const LocalTime today = ToLocalTime(TheClock().UnixTimeMs());
    if (DayOf(today) != DayOf(day_)) {
        tidied_ = false;
        NameAfter(today, 0);
    }
    if (keepDays_ > 0 && !tidied_) RemoveOld();
    tidied_ = true;
    std::uint32_t error = OpenNamed();
    while (error == 0 && file_.Size() > kLargest) {
        NameAfter(today, index_ + 1);
        error = OpenNamed();
    }
    if (error == 0 && file_.Size() == 0) torn_ = false; // another one in the place of the torn
    return ToLogError(error);
}

std::uint32_t LogFile::OpenNamed() {
    const std::uint32_t error = file_.Open(name_);
    if (error != kBadPath || directory_.empty()) return error;
    std::error_code ignored; // the second try tells
    std::filesystem::create_directories(ToPath(directory_), ignored);
    return file_.Open(name_);
}

std::int32_t LogFile::Append(const LogLines& lines) {
    std::uint32_t error = EndTornLine();
    std::size_t done = 0;
    for (const LogLines::Block& block : lines.Blocks()) {
        if (error != 0) break;
        std::string_view rest = block.View();
        error = file_.Write(rest);
        const std::size_t size = block.size - rest.size();
        if (size > 0) torn_ = block.bytes[size - 1] != '\n';
        done += size;
    }
    for (const std::size_t size : lines.Sizes()) {
        if (done < size) break;
        done -= size;
        ++written_;
    }
    return ToLogError(error);
}

// Ends what a full disk cut short.
std::uint32_t LogFile::EndTornLine() {
    if (!torn_) return 0;
    std::string_view end = "\r\n";
    const std::uint32_t error = file_.Write(end);
    torn_ = error != 0;
    return error;
}

void LogFile::NameAfter(const LocalTime& day, int index) {
    day_ = day;
    index_ = index;
    name_ = base_;
    const std::size_t point = name_.rfind(L'.'); // of the whole path, folders included
    name_.insert(std::min(point, name_.size()),
                 Format(L"-%04d%02d%02d-%d", int{day.year}, int{day.month}, int{day.day}, index));
    torn_ = false; // a new file
}

// Only names of our own making: what else lies there is somebody else's.
void LogFile::RemoveOld() const try {
    const std::string base = ToUtf8(base_.substr(base_.rfind(kPathSeparator) + 1));
    const std::size_t point = std::min(base.rfind('.'), base.size());
    const auto oldest = std::chrono::sys_days(DayOf(day_)) - std::chrono::days(keepDays_);
    for (const auto& entry : std::filesystem::directory_iterator(ToPath(directory_))) {
        const std::string name = ToUtf8(FromPath(entry.path().filename()));
        const bool ours = name.size() > base.size() && name.starts_with(base.substr(0, point)) &&
                          name.ends_with(base.substr(point));
        if (!ours) continue;
        const auto day = DayIn(name.substr(point, name.size() - base.size()));
        std::error_code ignored; // somebody reads it
        if (day && *day < oldest) std::filesystem::remove(entry.path(), ignored);
    }
} catch (const std::exception&) { // tomorrow, then: what is to be logged goes first
}

} // namespace halvane
