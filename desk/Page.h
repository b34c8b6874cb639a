#pragma once

#include <string_view>

namespace halvane::desk {

// A file of the page, which is inside the program.
struct PageFile {
    std::string_view path; // as asked for, "/desk.css"
    std::string_view type; // its media type
    std::string_view bytes;
};

// Nothing when there is no file of that path.
const PageFile* FindPageFile(std::string_view path);

} // namespace halvane::desk
