#include "foundation/logger/LogFormat.h"

#include "foundation/support/Numbers.h"
#include "foundation/support/Process.h"

#include <algorithm>
#include <cwchar>
#include <limits>
#include <new>

namespace halvane {
namespace {

constexpr std::size_t kBlockWithoutText = 30; // the text's own zero comes on top
constexpr std::size_t kLevelWidth = 5;

// The text goes on behind the structure, so it is reached from the block, not from the member.
char16_t* TextOf(void* block) {
    char* bytes = static_cast<char*>(block);
    return reinterpret_cast<char16_t*>(bytes + offsetof(ILogger::TLogMsg, text));
}

// Those of both halves, and the two separators at which some viewers end a line.
bool IsControl(wchar_t unit) {
    const auto code = std::uint32_t{static_cast<std::make_unsigned_t<wchar_t>>(unit)};
    return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x2028 || code == 0x2029;
}

void PutDigits(char* at, int width, unsigned number) {
    for (; width > 0; number /= 10)
        at[--width] = static_cast<char>('0' + number % 10);
}

} // namespace

LogMsgPtr NewLogMsg(ILogger::LogLevel level, const wchar_t* text) {
    const std::size_t length = text == nullptr ? 0 : std::wcslen(text);
    const std::size_t size = kBlockWithoutText + sizeof(char16_t) * (length + 1);
    const bool fits = size <= std::numeric_limits<std::uint32_t>::max();
    void* block = fits ? std::calloc(1, size) : nullptr;
    if (block == nullptr) throw std::bad_alloc();
    LogMsgPtr msg(static_cast<ILogger::TLogMsg*>(block));
    msg->size = static_cast<std::uint32_t>(size);
    msg->level = level;
    msg->threadId = CurrentThreadId();
    std::transform(text, text + length, TextOf(block),
                   [](wchar_t unit) { return static_cast<char16_t>(unit); });
    return msg;
}

Text WithoutControls(TextView text) {
    constexpr TextView kDigits = L"0123456789abcdef";
    Text escaped;
    for (const wchar_t unit : text) {
        if (!IsControl(unit)) {
            escaped += unit;
            continue;
        }
        escaped += L"\\u";
        for (int shift = 12; shift >= 0; shift -= 4)
            escaped += kDigits[(static_cast<std::uint32_t>(unit) >> shift) & 15];
    }
    return escaped;
}

LineStamp StampOf(const LocalTime& time) {
    LineStamp stamp{'0', '0', ':', '0', '0', ':', '0', '0', '.'};
    PutDigits(&stamp[0], 2, time.hour);
    PutDigits(&stamp[3], 2, time.minute);
    PutDigits(&stamp[6], 2, time.second);
    PutDigits(&stamp[9], 3, time.milliseconds);
    return stamp;
}

LineHead HeadOf(std::uint32_t threadId, std::int32_t level) {
    constexpr std::size_t kIdWidth = 6;
    const NumberDigits id = DecimalDigits(static_cast<std::int32_t>(threadId));
    const TextView name = ILogger_GetLogLevelDesc(level);
    LineHead head;
    const auto put = [&head](std::size_t count, auto from) {
        std::copy_n(from, count, head.text.begin() + static_cast<std::ptrdiff_t>(head.size));
        head.size += count;
    };
    constexpr std::string_view kBlanks = "          ", kOpen = "  [", kClose = "]  ";
    put(1 + kIdWidth - std::min<std::size_t>(kIdWidth, id.size), kBlanks.begin());
    put(id.size, id.text);
    put(kOpen.size(), kOpen.begin());
    for (const wchar_t letter : name)
        head.text[head.size++] = static_cast<char>(letter);
    put(kLevelWidth - std::min(kLevelWidth, name.size()), kBlanks.begin());
    put(kClose.size(), kClose.begin());
    return head;
}

} // namespace halvane
