#include "feed/FeedOptions.h"

#include "foundation/logger/Log.h"
#include "foundation/support/IniFile.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Process.h"
#include "foundation/support/Strings.h"

#include <algorithm>

namespace halvane {
namespace {

constexpr std::int64_t kMega = std::int64_t{1} << 20;

class FeedIni {
  public:
    explicit FeedIni(const Text& path) : path_(path) {}

    Text Read(const wchar_t* key) const { return ReadIniText(path_, L"Feed", key, L""); }

    std::int64_t Number(const wchar_t* key, std::int64_t fallback, std::int64_t least,
                        std::int64_t most) const {
        const Text value = Read(key);
        if (value.empty()) return fallback;
        const std::int64_t number = ToInt64(value);
        if (std::ranges::all_of(value, IsDigit) && number >= least && number <= most) return number;
        Log().Error(L"Feed.ini: %s=%s is not used, it is a number from %lld to %lld", key, value,
                    least, most);
        return fallback;
    }

    bool IsFull() const {
        const Text value = Read(L"Synchronous");
        const bool normal = EqualsIgnoringCase(value, L"NORMAL");
        if (!normal && !value.empty() && !EqualsIgnoringCase(value, L"FULL"))
            Log().Error(L"Feed.ini: Synchronous=%s is not used, it is FULL or NORMAL", value);
        return !normal;
    }

    Text Folder() const {
        Text folder = Read(L"Folder");
        if (folder.empty()) folder = ExecutableFolder() + L"feed";
        if (folder.back() != L'/' && folder.back() != L'\\') folder += kPathSeparator;
        return folder;
    }

  private:
    const Text& path_;
};

} // namespace

std::optional<FeedOptions> ReadFeedOptions(const Text& iniPath) {
    const FeedIni ini(iniPath);
    if (ini.Read(L"On") != L"1") return std::nullopt;
    FeedOptions options;
    options.folder = ini.Folder();
    options.port = static_cast<int>(ini.Number(L"Port", 0, 0, 65535));
    options.syncEachCommit = ini.IsFull();
    options.keepDays = static_cast<int>(ini.Number(L"KeepDays", options.keepDays, 1, 36500));
    options.keepBytes = ini.Number(L"KeepMegabytes", 0, 0, 1 << 30) * kMega;
    const std::int64_t queue = ini.Number(L"QueueMegabytes", 64, 1, 4096);
    options.queueBytes = static_cast<std::size_t>(queue * kMega);
    return options;
}

} // namespace halvane
