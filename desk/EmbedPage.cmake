# cmake -DFOLDER=... -DFILES=... -DOUT=... -P EmbedPage.cmake: makes a source file that holds these files of
# the folder as bytes.
set(types_html "text/html; charset=utf-8")
set(types_css "text/css; charset=utf-8")
set(types_js "text/javascript; charset=utf-8")
set(types_svg "image/svg+xml")
set(types_md "text/plain; charset=utf-8")

set(arrays "")
set(rows "")
set(number 0)
foreach(file IN LISTS FILES)
  file(READ ${FOLDER}/${file} hex HEX)
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${hex}")
  string(APPEND arrays "constexpr unsigned char kFile${number}[] = {${bytes}};\n")
  string(REGEX REPLACE ".*\\." "" ending ${file})
  string(REGEX REPLACE "^.*\\.\\./docs/|^index\\.html" "" path ${file})
  string(APPEND rows "    {\"/${path}\", \"${types_${ending}}\", Bytes(kFile${number})},\n")
  math(EXPR number "${number} + 1")
endforeach()

file(WRITE ${OUT} "#include \"desk/Page.h\"

#include <algorithm>
#include <iterator>

namespace halvane::desk {
namespace {

${arrays}
template <std::size_t Size> std::string_view Bytes(const unsigned char (&bytes)[Size]) {
    return {reinterpret_cast<const char*>(bytes), Size};
}

const PageFile kFiles[] = {
${rows}};

} // namespace

const PageFile* FindPageFile(std::string_view path) {
    const auto found = std::find_if(std::begin(kFiles), std::end(kFiles),
                                    [path](const PageFile& file) { return file.path == path; });
    return found == std::end(kFiles) ? nullptr : found;
}

} // namespace halvane::desk
")
