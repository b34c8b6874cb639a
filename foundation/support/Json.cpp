#include "foundation/support/Json.h"
#include "foundation/support/Numbers.h"

#include <charconv>

namespace halvane {
namespace {

// Of a number's text, without sign, point, exponent and zeros at either end.
std::string SignificantDigits(std::string_view number) {
    std::string digits;
    for (const char c : number.substr(0, number.find('e'))) {
        if (IsDigit(c) && (c != '0' || !digits.empty())) digits.push_back(c);
    }
    digits.erase(digits.find_last_not_of('0') + 1);
    return digits;
}

} // namespace

bool ExactWriter::Double(double value) {
    char buffer[40];
    std::string text(buffer, rapidjson::internal::dtoa(value, buffer));
    std::string closest(
        buffer,
        std::to_chars(std::begin(buffer), std::end(buffer), value, std::chars_format::general).ptr);
    if (closest.find_first_of(".e") == std::string::npos) closest += ".0";
    if (SignificantDigits(text) != SignificantDigits(closest)) text = closest;
    const Text wide(text.begin(), text.end());
    return RawValue(wide.data(), wide.size(), rapidjson::kNumberType);
}

Text WriteJson(const JsonValue& value) {
    JsonBuffer buffer;
    ExactWriter writer(buffer);
    value.Accept(writer);
    return Text(buffer.GetString(), buffer.GetSize() / sizeof(wchar_t));
}

const JsonValue* FindMember(const JsonValue& object, TextView name) {
    if (!object.IsObject()) return nullptr;
    for (auto member = object.MemberBegin(); member != object.MemberEnd(); ++member) {
        const JsonValue& key = member->name;
        if (key.GetStringLength() == name.size() && TextView(key.GetString(), name.size()) == name)
            return &member->value;
    }
    return nullptr;
}

TextView StringMember(const JsonValue& object, TextView name) {
    const JsonValue* value = FindMember(object, name);
    if (value == nullptr || !value->IsString()) return {};
    return {value->GetString(), value->GetStringLength()};
}

} // namespace halvane
