#include "foundation/support/Strings.h"

#include <algorithm>

namespace halvane {

std::vector<TextView> Split(TextView text, wchar_t separator) {
    std::vector<TextView> parts;
    for (;;) {
        const std::size_t end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == TextView::npos) return parts;
        text.remove_prefix(end + 1);
    }
}

std::optional<TextView> SplitField(TextView text, wchar_t separator, std::size_t index) {
    for (; index > 0; --index) {
        const std::size_t end = text.find(separator);
        if (end == TextView::npos) return std::nullopt;
        text.remove_prefix(end + 1);
    }
    return text.substr(0, text.find(separator));
}

Text ReplaceAll(TextView text, TextView from, TextView to) {
    if (from.empty()) return Text(text);
    Text out;
    for (;;) {
        const std::size_t at = text.find(from);
        out.append(text.substr(0, at));
        if (at == TextView::npos) return out;
        out.append(to);
        text.remove_prefix(at + from.size());
    }
}

bool EqualsIgnoringCase(TextView a, TextView b) {
    const auto lower = [](wchar_t c) { return c >= L'A' && c <= L'Z' ? c - L'A' + L'a' : c; };
    return std::ranges::equal(a, b, {}, lower, lower);
}

} // namespace halvane
