#include "doctor/Ini.h"

#include "foundation/support/Files.h"
#include "foundation/support/Strings.h"
#include "foundation/support/Utf.h"

namespace halvane::doctor {
namespace {

std::string Trim(const std::string& text) {
    const char* blanks = " \t\r\v\f";
    const std::size_t begin = text.find_first_not_of(blanks);
    if (begin == std::string::npos) return {};
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

} // namespace

std::vector<IniLine> ReadIni(const std::filesystem::path& file) {
    const Text text = FromFileBytes(ReadFileBytes(file));
    std::vector<IniLine> lines;
    std::string section;
    int number = 0;
    for (const TextView each : Split(text, L'\n')) {
        number++;
        const std::string line = Trim(ToUtf8(each));
        if (line.empty() || line[0] == ';') continue;
        if (line[0] == '[') {
            section = Trim(line.substr(1, line.rfind(']') - 1));
            continue;
        }
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos) {
            lines.push_back({number, section, {}, line});
        } else {
            lines.push_back(
                {number, section, Trim(line.substr(0, equals)), Trim(line.substr(equals + 1))});
        }
    }
    return lines;
}

bool HoldsRemark(const std::string& value) {
    return value.find(';') != std::string::npos || value.find(" #") != std::string::npos ||
           value.find(" //") != std::string::npos;
}

bool SameName(const std::string& one, const std::string& other) {
    return EqualsIgnoringCase(FromUtf8(one).value_or(L""), FromUtf8(other).value_or(L""));
}

} // namespace halvane::doctor
