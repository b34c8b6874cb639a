#include "foundation/support/Json.h"

#include <charconv>

namespace halvane {
namespace {

constexpr int kDeepest = 1000;
constexpr int kLongestExponent = 9; // RapidJSON adds exponents as 32-bit integers, unchecked

bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

// The significant digits of the exponent that starts at `at`, which is moved behind it.
int ExponentDigits(const Text& text, std::size_t& at) {
    while (at < text.size() && (text[at] == L'+' || text[at] == L'-' || text[at] == L'0'))
        ++at;
    int digits = 0;
    for (; at < text.size() && IsDigit(text[at]); ++at)
        ++digits;
    return digits;
}

// Of a number's text, without sign, point, exponent and zeros at either end.
std::string SignificantDigits(std::string_view number) {
    std::string digits;
    for (const char c : number.substr(0, number.find('e'))) {
        if (IsDigit(static_cast<wchar_t>(c)) && (c != '0' || !digits.empty())) digits.push_back(c);
    }
    digits.erase(digits.find_last_not_of('0') + 1);
    return digits;
}

// Finds what the parser or a later step would not survive. What is no JSON at all it may let pass.
bool IsSafeToParse(const Text& text) {
    int depth = 0;
    bool quoted = false;
    for (std::size_t at = 0; at < text.size();) {
        const wchar_t c = text[at++];
        if (quoted) {
            if (c == L'\\') ++at;
            quoted = c != L'"';
        } else if (c == L'"') {
            quoted = true;
        } else if (c == L'[' || c == L'{') {
            if (++depth > kDeepest) return false;
        } else if (c == L']' || c == L'}') {
            --depth;
        } else if ((c == L'e' || c == L'E') && at >= 2 && (IsDigit(text[at - 2]))) {
            if (ExponentDigits(text, at) > kLongestExponent) return false;
        }
    }
    return true;
}

} // namespace

bool ParseJson(const Text& text, JsonDocument& document) {
    constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseFullPrecisionFlag;
    if (text.find(L'\0') != Text::npos) return false; // the parser would take it for the end
    if (!IsSafeToParse(text)) return false;
    try {
        document.Parse<kFlags>(text.c_str());
    } catch (const JsonFault&) {
        return false; // half of a surrogate pair
    }
    return !document.HasParseError();
}

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
        if (TextView(member->name.GetString(), member->name.GetStringLength()) == name)
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
