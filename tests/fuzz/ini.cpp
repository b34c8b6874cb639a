#include "foundation/support/IniFile.h"
#include "tests/fuzz/Fuzz.h"

#include <optional>
#include <vector>

namespace halvane {
namespace {

// The same file taken apart as a whole, before anything is looked for.
struct Section {
    Text name;
    std::vector<std::pair<Text, std::optional<Text>>> keys;
};

Text Stripped(Text text) {
    const auto blank = [](wchar_t c) { return c == L' ' || (c >= L'\t' && c <= L'\r'); };
    while (!text.empty() && blank(text.back()))
        text.pop_back();
    while (!text.empty() && blank(text.front()))
        text.erase(0, 1);
    return text;
}

std::vector<Section> TakeApart(const Text& text) {
    std::vector<Section> sections(1); // the first has what comes before any head, and no name
    Text line;
    const auto end = [&] {
        line = Stripped(line);
        const std::size_t close = line.rfind(L']'), equals = line.find(L'=');
        if (!line.empty() && line[0] == L'[' && close != Text::npos) {
            sections.push_back({Stripped(line.substr(1, close - 1)), {}});
        } else if (!line.empty() && line[0] != L';') {
            std::optional<Text> value;
            if (equals != Text::npos) value = Stripped(line.substr(equals + 1));
            sections.back().keys.emplace_back(Stripped(line.substr(0, equals)), value);
        }
        line.clear();
    };
    for (const wchar_t c : text) {
        if (c == L'\n') {
            end();
        } else {
            line += c;
        }
    }
    end();
    sections.erase(sections.begin());
    return sections;
}

Text Lower(Text text) {
    for (wchar_t& c : text)
        if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c + 32);
    return text;
}

Text Find(const std::vector<Section>& sections, const Text& section, const Text& key) {
    for (const Section& each : sections) {
        if (Lower(each.name) != section) continue;
        for (const auto& [name, value] : each.keys) {
            if (Lower(name) != key) continue;
            if (!value) return L"none";
            const bool quoted = value->size() > 1 && value->front() == value->back() &&
                                (value->front() == L'\'' || value->front() == L'"');
            return quoted ? value->substr(1, value->size() - 2) : *value;
        }
        return L"none";
    }
    return L"none";
}

} // namespace
} // namespace halvane

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace halvane;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const MemoryFile file(bytes);
    const auto sections = TakeApart(FromFileBytes(bytes));
    for (const auto& [section, key] : {std::pair(L"zmq", L"ip"), std::pair(L"a", L"b")})
        Keep(ReadIniText(file.Path(), section, key, L"none") == Find(sections, section, key),
             "a key has its value");
    return 0;
}
