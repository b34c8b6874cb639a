#pragma once

#include "foundation/support/Text.h"

#include <cstdint>
#include <deque>
#include <filesystem>
#include <string>

namespace halvane::desk {

// The lines of a gateway's log at Error and Fatal, as long as its folder is on this machine. One
// thread at a time.
class LogTail {
  public:
    // `folder` holds the dated files of the gateway's log; "" when it is not known.
    explicit LogTail(const Text& folder);

    // Reads what has been added since, of the newest file; true when a line has come.
    bool Poll();

    // The part "log" of the board: the newest lines, oldest first, or why there are none.
    std::string Row() const;

  private:
    struct Line {
        std::string date, time, level, text;
    };

    std::filesystem::path Newest() const;
    void Begin(const std::filesystem::path& file);
    void ReadOn();
    void Take(std::string_view line);

    std::filesystem::path folder_;
    std::filesystem::path file_;
    std::uint64_t at_ = 0;
    std::string rest_; // of a line that is not whole yet
    std::deque<Line> lines_;
    std::uint64_t taken_ = 0; // lines, ever
};

} // namespace halvane::desk
