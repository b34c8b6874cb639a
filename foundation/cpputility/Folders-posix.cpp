#include "foundation/cpputility/Folders.h"

#include "foundation/support/Strings.h"
#include "foundation/support/Utf.h"

#include <algorithm>
#include <filesystem>

namespace CppUtility {
namespace {

using halvane::Text;
using halvane::TextView;

bool SameLetter(wchar_t a, wchar_t b) {
    return halvane::EqualsIgnoringCase(TextView(&a, 1), TextView(&b, 1));
}

// On a mismatch, goes back to the last "*" and lets it stand for one more character.
bool Matches(TextView pattern, TextView name) {
    std::size_t p = 0, n = 0, star = TextView::npos, retry = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == L'*') {
            star = p++;
            retry = n;
        } else if (p < pattern.size() && (pattern[p] == L'?' || SameLetter(pattern[p], name[n]))) {
            ++p;
            ++n;
        } else if (star != TextView::npos) {
            p = star + 1;
            n = ++retry;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of(L'*', p) == TextView::npos;
}

} // namespace

bool DeleteFolder(const wchar_t* path) {
    std::error_code error;
    const auto removed = std::filesystem::remove_all(halvane::ToPath(path), error);
    return error || removed == 0;
}

void GetFileNameList(const wchar_t* pattern, std::vector<std::wstring>& names) {
    const std::filesystem::path whole = halvane::ToPath(pattern);
    const std::filesystem::path folder = whole.has_parent_path() ? whole.parent_path() : ".";
    const Text last = halvane::FromPath(whole.filename());
    const Text wanted = last == L"*.*" ? L"*" : last;
    std::vector<std::wstring> found;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        Text name = halvane::FromPath(entry->path().filename());
        if (Matches(wanted, name)) found.push_back(std::move(name));
    }
    std::ranges::sort(found);
    names.insert(names.end(), found.begin(), found.end());
}

} // namespace CppUtility
