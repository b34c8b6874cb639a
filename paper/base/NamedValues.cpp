#include "paper/base/NamedValues.h"

#include "foundation/support/Strings.h"

namespace halvane::paper {

TextView NamedValue(TextView list, wchar_t separator, TextView name) {
    for (const TextView each : Split(list, separator)) {
        const std::size_t equals = each.find(L'=');
        if (equals != TextView::npos && each.substr(0, equals) == name)
            return each.substr(equals + 1);
    }
    return {};
}

} // namespace halvane::paper
