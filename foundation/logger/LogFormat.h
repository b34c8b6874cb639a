#pragma once

#include "foundation/logger/ILogger.h"
#include "foundation/support/Text.h"

#include <array>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace halvane {

// Owns a record, which is a block of the C runtime's heap.
struct LogMsgDeleter {
    void operator()(ILogger::TLogMsg* msg) const { std::free(msg); }
};
using LogMsgPtr = std::unique_ptr<ILogger::TLogMsg, LogMsgDeleter>;

// A record of the calling thread, its time all zero. The text may be null, which counts as "".
LogMsgPtr NewLogMsg(ILogger::LogLevel level, const wchar_t* text);

// A line of the log file is "09:30:05.123   4312  [INFO ]  text" and CR LF, in the narrow encoding
// of the system. Its date is in the file's name.

// What a client sends stands in the log as it came, line ends too. With this each control character
// is "\u" and four hexadecimal digits.
Text WithoutControls(TextView text);

// The time.
using LineStamp = std::array<char, 12>;
LineStamp StampOf(const LocalTime& time);

// What stands between time and text.
struct LineHead {
    std::array<char, 32> text;
    std::size_t size = 0;

    std::string_view View() const { return {text.data(), size}; }
};
LineHead HeadOf(std::uint32_t threadId, std::int32_t level);

} // namespace halvane
