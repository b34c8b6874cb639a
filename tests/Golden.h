#pragma once

#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace halvane {

// Of a record's values: what is written for those that are there or for missing ones, where it is
// published or restored.
struct GoldenForm {
    bool missing = false, restored = false;
};

// What stands before or behind the mark; before it when there is none.
inline std::string GoldenPart(const std::string& text, const std::string& mark, bool behind,
                              const std::string& none) {
    const std::size_t at = text.find(mark);
    if (at == std::string::npos) return none;
    return behind ? text.substr(at + mark.size()) : text.substr(0, at);
}

// tests/golden/<name>.txt: lines "<key>=<value>". A second value behind " || " is that of the
// restored form, where it differs; "absent" means that the form has no such member. Behind " | "
// stands what is written for a missing value, where that is not empty.
inline std::vector<std::pair<std::string, std::string>> ReadGolden(const std::string& name,
                                                                   GoldenForm form = {}) {
    std::vector<std::pair<std::string, std::string>> lines;
    std::ifstream file(std::string(HALVANE_TESTS) + "/golden/" + name + ".txt");
    for (std::string line; std::getline(file, line);) {
        const std::size_t equals = line.find('=');
        const std::string both = line.substr(equals + 1);
        const std::string one = GoldenPart(both, " || ", form.restored, both);
        const std::string value = GoldenPart(one, " | ", false, one);
        if (value == "absent") continue;
        const bool lost = form.missing && value != "QRY";
        lines.emplace_back(line.substr(0, equals), lost ? GoldenPart(one, " | ", true, "") : value);
    }
    return lines;
}

// The same as the members of a JSON object, in order; QRY stands for the row's paging index, 1.
inline std::string GoldenJson(const std::string& name, GoldenForm form = {}) {
    std::string json;
    for (const auto& [key, value] : ReadGolden(name, form)) {
        json += (json.empty() ? "{\"" : ",\"") + key + "\":\"";
        json += (value == "QRY" ? "1" : value) + "\"";
    }
    return json + "}";
}

} // namespace halvane
