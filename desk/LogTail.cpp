#include "desk/LogTail.h"

#include "desk/JsonText.h"
#include "foundation/support/Utf.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <utility>

namespace halvane::desk {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostLines = 50;
constexpr std::uint64_t kMostToRead = 16 << 20; // of a file that was there before
constexpr std::size_t kBlock = 256 << 10;
constexpr std::size_t kLongestLine = 4 << 10; // more of it is not shown
constexpr std::string_view kPrefix = "Halvane64-";
constexpr std::string_view kSuffix = ".log";
constexpr std::size_t kDateSize = 8;
constexpr std::size_t kTimeSize = 12; // as in 09:42:26.125

// A name Halvane64-<date>-<number>.log as something to compare; empty for any other name.
std::pair<std::string, int> AgeOf(const std::string& name) {
    if (!name.starts_with(kPrefix) || !name.ends_with(kSuffix) ||
        name.size() < kPrefix.size() + kDateSize + 1 + kSuffix.size())
        return {};
    int number = 0;
    std::from_chars(name.data() + kPrefix.size() + kDateSize + 1, name.data() + name.size(),
                    number);
    return {name.substr(kPrefix.size(), kDateSize), number};
}

} // namespace

LogTail::LogTail(const Text& folder) : folder_(ToPath(folder)) {}

fs::path LogTail::Newest() const {
    fs::path newest;
    std::pair<std::string, int> age;
    std::error_code error;
    fs::directory_iterator entry(folder_, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        const auto other = AgeOf(ToUtf8(FromPath(entry->path().filename())));
        if (other <= age) continue;
        age = other;
        newest = entry->path();
    }
    return newest;
}

void LogTail::Begin(const fs::path& file) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(file, error);
    const bool isFirst = file_.empty();
    file_ = file;
    at_ = isFirst && !error && size > kMostToRead ? size - kMostToRead : 0;
    rest_.clear();
}

bool LogTail::Poll() {
    if (folder_.empty()) return false;
    const std::uint64_t before = taken_;
    if (!file_.empty()) ReadOn();
    const fs::path newest = Newest();
    if (newest != file_ && !newest.empty()) {
        Begin(newest);
        ReadOn();
    }
    return taken_ != before;
}

void LogTail::ReadOn() {
    std::ifstream file(file_, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(at_));
    std::string block(kBlock, '\0');
    while (file.read(block.data(), static_cast<std::streamsize>(block.size())), file.gcount() > 0) {
        const auto size = static_cast<std::size_t>(file.gcount());
        at_ += size;
        rest_.append(block, 0, size);
        std::size_t begin = 0;
        for (std::size_t end; (end = rest_.find('\n', begin)) != std::string::npos; begin = end + 1)
            Take(std::string_view(rest_).substr(begin, end - begin));
        rest_.erase(0, begin);
    }
}

void LogTail::Take(std::string_view line) {
    const std::size_t level = line.find("  [");
    if (level == std::string_view::npos || level + 12 > line.size()) return;
    const std::string_view name = line.substr(level + 3, 5);
    if (name != "ERROR" && name != "FATAL") return;
    std::string_view text = line.substr(level + 11).substr(0, kLongestLine);
    if (text.ends_with('\r')) text.remove_suffix(1);
    const std::string file = ToUtf8(FromPath(file_.filename()));
    lines_.push_back({file.substr(kPrefix.size(), kDateSize),
                      std::string(line.substr(0, kTimeSize)), std::string(name),
                      ToUtf8(FromFileBytes(text))});
    if (lines_.size() > kMostLines) lines_.pop_front();
    ++taken_;
}

std::string LogTail::Row() const {
    JsonText row;
    row.Member("part", "log").Member("folder", ToUtf8(FromPath(folder_)));
    row.Member("file", ToUtf8(FromPath(file_.filename())));
    row.BeginArray("rows");
    for (const Line& line : lines_) {
        JsonText each;
        each.Member("Date", line.date).Member("Time", line.time);
        each.Member("Level", line.level).Member("Text", line.text);
        row.Raw(each.Finish());
    }
    row.EndArray();
    return row.Finish();
}

} // namespace halvane::desk
