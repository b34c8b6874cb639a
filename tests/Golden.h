#pragma once

#include <fstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace halvane {

// tests/golden/<name>.txt: lines "<key>=<value>", and " | " before what is written for a missing
// value, where that is not empty.
inline std::vector<std::pair<std::string, std::string>> ReadGolden(const std::string& name,
                                                                   bool missing = false) {
    constexpr std::string_view kMark = " | ";
    std::vector<std::pair<std::string, std::string>> lines;
    std::ifstream file(std::string(HALVANE_TESTS) + "/golden/" + name + ".txt");
    for (std::string line; std::getline(file, line);) {
        const std::size_t equals = line.find('='), mark = line.find(kMark);
        std::string value = line.substr(equals + 1, mark - equals - 1);
        if (missing && value != "QRY")
            value = mark == std::string::npos ? "" : line.substr(mark + kMark.size());
        lines.emplace_back(line.substr(0, equals), value);
    }
    return lines;
}

// The same as the members of a JSON object, in order; QRY stands for the row's paging index, 1.
inline std::string GoldenJson(const std::string& name, bool missing = false) {
    std::string json;
    for (const auto& [key, value] : ReadGolden(name, missing)) {
        json += (json.empty() ? "{\"" : ",\"") + key + "\":\"";
        json += (value == "QRY" ? "1" : value) + "\"";
    }
    return json + "}";
}

} // namespace halvane
