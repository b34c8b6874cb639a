#include "tradeapi/UserKeys.h"

#include "foundation/support/JsonWriter.h"
#include "foundation/support/Strings.h"

#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace halvane {
namespace {

constexpr TextView kPacked = L"UK#";
constexpr int kFirstPackedKey = 2;
constexpr int kLastPackedKey = 100;

// The number of a member "UserKey<number>"; nothing for other names and spellings.
std::optional<std::int32_t> KeyNumber(TextView name) {
    constexpr TextView kName = L"UserKey";
    if (!name.starts_with(kName)) return std::nullopt;
    const std::int32_t number = ToInt32(name.substr(kName.size()));
    if (DecimalText(number) != name.substr(kName.size())) return std::nullopt;
    return number;
}

TextView FieldOr(TextView text, wchar_t separator, std::size_t index) {
    return SplitField(text, separator, index).value_or(TextView());
}

std::pair<Text, Text> UnpackUserKey(TextView token) {
    const TextView name = FieldOr(token, L'=', 0);
    return {L"UserKey" + Text(FieldOr(name, L'#', 1)), Text(FieldOr(token, L'=', 1))};
}

std::vector<std::pair<Text, Text>> UnpackUserKeys(TextView packed) {
    std::vector<std::pair<Text, Text>> members;
    for (const TextView token : Split(packed, L';')) {
        if (token.empty()) continue;
        if (token.starts_with(L"UK"))
            members.push_back(UnpackUserKey(token));
        else // the value before it holds a ";"
            members.back().second.append(L";").append(token);
    }
    return members;
}

} // namespace

Text PackUserKeys(const JsonValue& order) {
    std::map<std::int32_t, const JsonValue*> keys; // of two with one name the first counts
    for (const auto& [name, value] : order.GetObject()) {
        if (const auto number = KeyNumber({name.GetString(), name.GetStringLength()}))
            keys.emplace(*number, &value);
    }
    Text packed;
    for (const auto& [number, value] : keys) {
        if (number < kFirstPackedKey || number > kLastPackedKey || !value->IsString()) continue;
        if (!packed.empty()) packed += L";";
        packed.append(kPacked).append(DecimalText(number)).append(L"=");
        packed.append(value->GetString(), value->GetStringLength());
    }
    return packed;
}

void WriteUserKeys(JsonWriter& out, TextView first, TextView second) {
    out.Member(L"UserKey1", first);
    if (!second.starts_with(kPacked)) return out.Member(L"UserKey2", second);
    for (const auto& [name, value] : UnpackUserKeys(second))
        out.MemberNamed(name, value);
}

} // namespace halvane
