#include "foundation/support/Strings.h"

#include <algorithm>
#include <cerrno>
#include <cwchar>

namespace halvane {
namespace {

struct Spelling {
    TextView windows, local;
};

// glibc takes the two sorts of text the other way round and does not know "%I64".
constexpr Spelling kSpellings[] = {
    {L"I64", L"ll"}, {L"I32", L""}, {L"s", L"ls"}, {L"c", L"lc"}, {L"S", L"s"}, {L"C", L"c"},
};
constexpr TextView kFlags = L"-+ #0123456789.*";

Text ToLocalSpelling(TextView format) {
    Text out;
    out.reserve(format.size() + 8);
    while (!format.empty()) {
        const bool directive = format.front() == L'%';
        std::size_t taken = 1;
        if (directive) taken = std::min(format.find_first_not_of(kFlags, 1), format.size());
        out += format.substr(0, taken);
        format.remove_prefix(taken);
        if (!directive) continue;
        for (const Spelling& spelling : kSpellings) {
            if (!format.starts_with(spelling.windows)) continue;
            out += spelling.local;
            format.remove_prefix(spelling.windows.size());
            break;
        }
        if (format.starts_with(L'%')) {
            out.push_back(L'%');
            format.remove_prefix(1);
        }
    }
    return out;
}

} // namespace

Text FormatV(const wchar_t* format, va_list args) {
    Text spelt = ToLocalSpelling(format);
    // A buffer that is too small gives -1, not the length: grow and try again.
    for (Text out(256, L'\0');; out.resize(out.size() * 2)) {
        va_list again;
        va_copy(again, args);
        errno = 0;
        const int length = std::vswprintf(out.data(), out.size(), spelt.c_str(), again);
        va_end(again);
        if (length >= 0) {
            out.resize(static_cast<std::size_t>(length));
            return out;
        }
        const bool hopeless = errno == EINVAL || errno == EILSEQ; // not a matter of room
        if (hopeless || out.size() > std::size_t{1} << 30) return spelt;
    }
}

} // namespace halvane
