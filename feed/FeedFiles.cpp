#include "feed/FeedFiles.h"

#include "foundation/support/Format.h"
#include "foundation/support/Utf.h"

#include <algorithm>
#include <chrono>
#include <filesystem>

namespace halvane {
namespace {

constexpr TextView kBefore = L"feed-";
constexpr TextView kBehind = L".sqlite";
constexpr TextView kForm = L"0000-00-00";
constexpr const wchar_t* kBeside[] = {L"", L"-wal", L"-shm", L"-journal"};

bool IsDay(TextView text) {
    return std::ranges::equal(text, kForm, [](wchar_t c, wchar_t form) {
        return form == L'0' ? c >= L'0' && c <= L'9' : c == form;
    });
}

} // namespace

Text DayOf(std::int64_t timeNs) {
    using namespace std::chrono;
    const year_month_day day(floor<days>(sys_time<nanoseconds>(nanoseconds(timeNs))));
    return Format(L"%04d-%02d-%02d", static_cast<int>(day.year()),
                  static_cast<int>(static_cast<unsigned>(day.month())),
                  static_cast<int>(static_cast<unsigned>(day.day())));
}

bool FeedFiles::MakeFolder() const {
    std::error_code failed;
    std::filesystem::create_directories(ToPath(folder_), failed);
    return std::filesystem::is_directory(ToPath(folder_), failed);
}

std::vector<Text> FeedFiles::Days() const {
    std::vector<Text> found;
    std::error_code failed;
    std::filesystem::directory_iterator each(ToPath(folder_), failed);
    for (; !failed && each != std::filesystem::directory_iterator(); each.increment(failed)) {
        const Text name = FromPath(each->path().filename());
        if (name.size() != kBefore.size() + kForm.size() + kBehind.size()) continue;
        const Text day = name.substr(kBefore.size(), kForm.size());
        if (name.starts_with(kBefore) && name.ends_with(kBehind) && IsDay(day))
            found.push_back(day);
    }
    std::ranges::sort(found);
    return found;
}

Text FeedFiles::PathOf(const Text& day) const {
    return folder_ + Text(kBefore) + day + Text(kBehind);
}

std::int64_t FeedFiles::BytesOf(const Text& day) const {
    std::int64_t bytes = 0;
    for (const wchar_t* beside : kBeside) {
        std::error_code failed;
        const auto size = std::filesystem::file_size(ToPath(PathOf(day) + beside), failed);
        if (!failed) bytes += static_cast<std::int64_t>(size);
    }
    return bytes;
}

bool FeedFiles::Remove(const Text& day) const {
    std::error_code failed;
    for (const wchar_t* beside : kBeside) {
        std::filesystem::remove(ToPath(PathOf(day) + beside), failed);
        if (failed) return false;
    }
    return true;
}

} // namespace halvane
