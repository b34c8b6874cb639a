#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace halvane::doctor {

// One setting as it stands in an ini file, in UTF-8.
struct IniLine {
    int number = 0;
    std::string section, key, value;
};

// All settings of the file; none when there is no such file. A line that is neither a section, a
// setting nor a remark has an empty key, and its text as the value.
std::vector<IniLine> ReadIni(const std::filesystem::path& file);

// Whether the value goes on with what was meant as a remark: it is part of the value.
bool HoldsRemark(const std::string& value);

bool SameName(const std::string& one, const std::string& other); // whatever the case of letters

} // namespace halvane::doctor
