#include "access/ReplyJob.h"

#include "foundation/support/Utf.h"

#include <charconv>

namespace halvane {
namespace {

constexpr std::string_view kNothing = "-";
constexpr char kEnd = '\n';

std::string_view TakeLine(std::string_view& frame) {
    const std::string_view line = frame.substr(0, frame.find(kEnd));
    frame.remove_prefix(std::min(frame.size(), line.size() + 1));
    return line;
}

std::size_t NumberOf(std::string_view digits) {
    std::size_t number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

} // namespace

std::string ReplyJob::ToFrame() const {
    if (right == nullptr) return std::string(kNothing);
    return ToUtf8(right->name) + kEnd + std::to_string(count) + kEnd +
           std::to_string(request.size()) + kEnd + request + rows;
}

ReplyJob ReplyJob::FromFrame(std::string_view frame) {
    if (frame == kNothing) return {};
    ReplyJob job;
    job.right = &RightOf(FromUtf8(TakeLine(frame)).value_or(L""));
    job.count = static_cast<int>(NumberOf(TakeLine(frame)));
    const std::size_t size = NumberOf(TakeLine(frame));
    job.request = frame.substr(0, size);
    job.rows = frame.substr(std::min(frame.size(), size));
    return job;
}

std::string WriteRows(const JsonValue& rows) {
    std::string text;
    for (const JsonValue& row : rows.GetArray())
        text.append(text.empty() ? "" : ",").append(ToUtf8(WriteJson(row)));
    return text;
}

} // namespace halvane
