#include "foundation/support/IniFile.h"

#include "foundation/support/Files.h"
#include "foundation/support/Strings.h"
#include "foundation/support/Utf.h"

// As the private-profile calls of Windows read: the first section of a name and in it the first key
// of a name count, a line is a line, only "=" separates, and a remark is one at the head of a line
// only.
namespace halvane {
namespace {

constexpr TextView kBlanks = L" \t\r\v\f";

TextView Trimmed(TextView text) {
    const std::size_t begin = text.find_first_not_of(kBlanks);
    if (begin == TextView::npos) return {};
    return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

// The name between brackets; nothing when the line is no head of a section.
std::optional<TextView> SectionName(TextView line) {
    const std::size_t close = line.rfind(L']');
    if (!line.starts_with(L'[') || close == TextView::npos) return std::nullopt;
    return Trimmed(line.substr(1, close - 1));
}

TextView Unquoted(TextView value) {
    const bool quoted = value.size() >= 2 && value.front() == value.back() &&
                        (value.front() == L'"' || value.front() == L'\'');
    return quoted ? value.substr(1, value.size() - 2) : value;
}

} // namespace

Text ReadIniText(const Text& path, const Text& section, const Text& key, const Text& fallback) {
    const Text text = FromFileBytes(ReadFileBytes(ToPath(path)));
    bool inSection = false;
    for (TextView line : Split(text, L'\n')) {
        line = Trimmed(line);
        if (const auto name = SectionName(line)) {
            if (inSection) break;
            inSection = EqualsIgnoringCase(*name, section);
            continue;
        }
        if (!inSection || line.starts_with(L';')) continue;
        const std::size_t equals = line.find(L'=');
        if (!EqualsIgnoringCase(Trimmed(line.substr(0, equals)), key)) continue;
        if (equals == TextView::npos) break; // the first of its name, without a value
        return Text(Unquoted(Trimmed(line.substr(equals + 1))));
    }
    return fallback;
}

} // namespace halvane
