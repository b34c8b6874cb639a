#pragma once

#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace halvane {

// tests/golden/<name>.txt: lines "<key>=<value>".
inline std::vector<std::pair<std::string, std::string>> ReadGolden(const std::string& name) {
    std::vector<std::pair<std::string, std::string>> lines;
    std::ifstream file(std::string(HALVANE_TESTS) + "/golden/" + name + ".txt");
    for (std::string line; std::getline(file, line);) {
        const std::size_t equals = line.find('=');
        lines.emplace_back(line.substr(0, equals), line.substr(equals + 1));
    }
    return lines;
}

// The same as the members of a JSON object, in order; QRY stands for the row's paging index.
inline std::string GoldenJson(const std::string& name, const std::string& qryIndex = "1") {
    std::string json;
    for (const auto& [key, value] : ReadGolden(name)) {
        json += (json.empty() ? "{\"" : ",\"") + key + "\":\"";
        json += (value == "QRY" ? qryIndex : value) + "\"";
    }
    return json + "}";
}

} // namespace halvane
