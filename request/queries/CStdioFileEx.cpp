#include "request/queries/CStdioFileEx.h"

#include "foundation/support/Utf.h"

#include <algorithm>

namespace halvane {
namespace {

// In place: such a file may be hundreds of megabytes long.
void JoinLines(Text& text) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool atLineEnd = i + 1 == text.size() || text[i + 1] == L'\n';
        if (text[i] == L'\n' || (text[i] == L'\r' && atLineEnd)) continue;
        text[kept++] = text[i];
    }
    text.resize(kept);
}

} // namespace

bool CStdioFileEx::Open(const Text& path) {
    file_.open(ToPath(path), std::ios::binary);
    return file_.is_open();
}

Text CStdioFileEx::ReadJoinedLines() {
    file_.seekg(0, std::ios::end);
    std::string bytes(static_cast<std::size_t>(std::max<std::streamoff>(0, file_.tellg())), '\0');
    file_.seekg(0);
    file_.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(file_.gcount()));
    Text text = FromFileBytes(bytes);
    JoinLines(text);
    return text;
}

} // namespace halvane
