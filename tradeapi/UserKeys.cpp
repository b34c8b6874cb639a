#include "tradeapi/UserKeys.h"

#include "foundation/support/Strings.h"

namespace halvane {
namespace {

TextView FieldOr(TextView text, wchar_t separator, std::size_t index) {
    return SplitField(text, separator, index).value_or(TextView());
}

std::pair<Text, Text> UnpackUserKey(TextView token) {
    const TextView name = FieldOr(token, L'=', 0);
    return {L"UserKey" + Text(FieldOr(name, L'#', 1)), Text(FieldOr(token, L'=', 1))};
}

} // namespace

std::vector<std::pair<Text, Text>> ExpandUserKeys(TextView first, TextView second) {
    std::vector<std::pair<Text, Text>> members{{L"UserKey1", Text(first)}};
    if (!second.starts_with(L"UK#")) {
        members.emplace_back(L"UserKey2", second);
        return members;
    }
    for (const TextView token : Split(second, L';')) {
        if (token.empty()) continue;
        if (token.starts_with(L"UK"))
            members.push_back(UnpackUserKey(token));
        else // the value before it holds a ";"
            members.back().second.append(L";").append(token);
    }
    return members;
}

} // namespace halvane
