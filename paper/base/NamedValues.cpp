#include "paper/base/NamedValues.h"

#include <algorithm>

namespace halvane::paper {

TextView NamedValue(TextView list, wchar_t separator, TextView name) {
    while (!list.empty()) {
        const TextView each = list.substr(0, list.find(separator));
        const std::size_t equals = each.find(L'=');
        if (equals != TextView::npos && each.substr(0, equals) == name)
            return each.substr(equals + 1);
        list.remove_prefix(std::min(each.size() + 1, list.size()));
    }
    return {};
}

} // namespace halvane::paper
