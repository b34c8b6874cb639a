#include "foundation/logger/LogFormat.h"

#include "foundation/support/Process.h"
#include "foundation/support/Utf.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <cwchar>
#include <limits>

namespace halvane {
namespace {

constexpr std::size_t kBlockWithoutText = 30; // the text's own zero comes on top
constexpr std::size_t kLineWithoutText = 48;
constexpr std::size_t kLevelWidth = 5;

// The text goes on behind the structure, so it is reached from the block, not from the member.
char16_t* TextOf(void* block) {
    char* bytes = static_cast<char*>(block);
    return reinterpret_cast<char16_t*>(bytes + offsetof(ILogger::TLogMsg, text));
}

void PutNumber(std::string& line, std::int32_t number, std::size_t width, char fill) {
    char digits[16];
    const char* const end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
    const auto size = static_cast<std::size_t>(end - digits);
    line.append(width - std::min(width, size), fill).append(digits, size);
}

} // namespace

LogMsgPtr NewLogMsg(ILogger::LogLevel level, const wchar_t* text) {
    const std::size_t length = text == nullptr ? 0 : std::wcslen(text);
    const std::size_t size = kBlockWithoutText + sizeof(char16_t) * (length + 1);
    if (size > std::numeric_limits<std::uint32_t>::max()) return nullptr;
    void* block = std::calloc(1, size);
    if (block == nullptr) return nullptr;
    LogMsgPtr msg(static_cast<ILogger::TLogMsg*>(block));
    msg->size = static_cast<std::uint32_t>(size);
    msg->level = level;
    msg->threadId = CurrentThreadId();
    std::transform(text, text + length, TextOf(block),
                   [](wchar_t unit) { return static_cast<char16_t>(unit); });
    return msg;
}

LogMsgPtr CopyLogMsg(const ILogger::TLogMsg& msg) {
    void* block = std::malloc(msg.size);
    if (block != nullptr) std::memcpy(block, &msg, msg.size);
    return LogMsgPtr(static_cast<ILogger::TLogMsg*>(block));
}

std::string FormatLine(const ILogger::TLogMsg& msg) {
    const std::string text =
        ToNarrow(std::u16string_view(TextOf(const_cast<ILogger::TLogMsg*>(&msg))));
    std::string line;
    line.reserve(kLineWithoutText + text.size());
    PutNumber(line, msg.time.hour, 2, '0');
    PutNumber(line += ':', msg.time.minute, 2, '0');
    PutNumber(line += ':', msg.time.second, 2, '0');
    PutNumber(line += '.', msg.time.milliseconds, 3, '0');
    PutNumber(line += ' ', static_cast<std::int32_t>(msg.threadId), 6, ' ');
    const TextView level = ILogger_GetLogLevelDesc(msg.level);
    line.append("  [").append(level.begin(), level.end());
    line.append(kLevelWidth - std::min(kLevelWidth, level.size()), ' ').append("]  ");
    return line.append(text).append("\r\n");
}

} // namespace halvane
