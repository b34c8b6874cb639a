#include "foundation/logger/LogFormat.h"

#include "foundation/support/Format.h"
#include "foundation/support/Process.h"
#include "foundation/support/Utf.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <limits>

namespace halvane {
namespace {

constexpr std::size_t kBlockWithoutText = 30; // the text's own zero comes on top

// The text goes on behind the structure, so it is reached from the block, not from the member.
char16_t* TextOf(void* block) {
    char* bytes = static_cast<char*>(block);
    return reinterpret_cast<char16_t*>(bytes + offsetof(ILogger::TLogMsg, text));
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
    Text line = Format(L"%02d:%02d:%02d.%03d %6d  [%-5s]  ", int{msg.time.hour},
                       int{msg.time.minute}, int{msg.time.second}, int{msg.time.milliseconds},
                       static_cast<int>(msg.threadId), ILogger_GetLogLevelDesc(msg.level));
    const char16_t* text = TextOf(const_cast<ILogger::TLogMsg*>(&msg));
    line.append(text, text + std::char_traits<char16_t>::length(text));
    line += L"\r\n";
    return ToNarrow(line);
}

} // namespace halvane
