#include "foundation/support/Json.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Utf.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace halvane {
namespace {

constexpr std::size_t kDeepest = 1000;

bool IsBlank(char unit) { return unit == ' ' || unit == '\t' || unit == '\n' || unit == '\r'; }

bool TakeDigits(std::string_view& text) {
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    text.remove_prefix(digits);
    return digits > 0;
}

bool TakeOneOf(std::string_view& text, std::string_view characters) {
    const bool taken = !text.empty() && characters.find(text.front()) != std::string_view::npos;
    if (taken) text.remove_prefix(1);
    return taken;
}

bool IsNumber(std::string_view text) {
    TakeOneOf(text, "-");
    if (!TakeOneOf(text, "0") && !TakeDigits(text)) return false;
    if (TakeOneOf(text, ".") && !TakeDigits(text)) return false;
    if (TakeOneOf(text, "eE")) {
        TakeOneOf(text, "+-");
        if (!TakeDigits(text)) return false;
    }
    return text.empty();
}

template <class Integer> bool TakeInteger(std::string_view text, JsonValue& value) {
    Integer integer = 0;
    const auto end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, integer);
    if (stop != end || error != std::errc()) return false;
    value = JsonValue(integer);
    return true;
}

// False for what is no number, or beyond the largest double.
bool ReadNumber(std::string_view number, JsonValue& value) {
    if (!IsNumber(number)) return false;
    if (TakeInteger<std::int64_t>(number, value) || TakeInteger<std::uint64_t>(number, value))
        return true;
    value = JsonValue(DecimalValue(number));
    return std::isfinite(value.GetDouble());
}

// An escape or a control character. Without a branch for each unit, so that many are looked at
// together.
bool HoldsSpecial(std::string_view text) {
    unsigned found = 0;
    for (const char unit : text)
        found |= static_cast<unsigned>(static_cast<unsigned char>(unit) < ' ') |
                 static_cast<unsigned>(unit == '\\');
    return found != 0;
}

// Reads a document in one pass, without recursion. RapidJSON's own reader takes some numbers for
// others and reads outside its tables for a few, and looks at texts one unit at a time.
class Reader {
  public:
    Reader(std::string_view text, JsonDocument& document) : rest_(text), document_(document) {}

    bool Read() {
        while (valueDue_ || depth_ > 0) {
            if (!(valueDue_ ? ReadValue() : ReadBehindValue())) return false;
        }
        SkipBlanks();
        return rest_.empty();
    }

  private:
    struct Level {
        char close;
        rapidjson::SizeType count;
    };

    void SkipBlanks() {
        while (!rest_.empty() && IsBlank(rest_.front()))
            rest_.remove_prefix(1);
    }

    bool Take(char wanted) {
        SkipBlanks();
        const bool taken = rest_.starts_with(wanted);
        if (taken) rest_.remove_prefix(1);
        return taken;
    }

    bool ReadValue();
    bool Open(char close);
    bool ReadBehindValue();
    bool Close();
    bool ReadKey() { return Take('"') && ReadText(true) && Take(':'); }
    bool ReadText(bool isKey);
    bool ReadEscapedText(bool isKey);
    bool ReadEscape(Text& out);
    bool ReadUnit(wchar_t& unit);
    bool ReadLiteral(std::string_view literal, const JsonValue& value);

    std::string_view rest_; // UTF-8
    JsonDocument& document_;
    std::array<Level, kDeepest> levels_; // of what is open
    std::size_t depth_ = 0;
    bool valueDue_ = true;
};

bool Reader::ReadValue() {
    SkipBlanks();
    valueDue_ = false;
    switch (rest_.empty() ? '\0' : rest_.front()) {
    case '{':
    case '[': return Open(rest_.front() == '{' ? '}' : ']');
    case '"': rest_.remove_prefix(1); return ReadText(false);
    case 't': return ReadLiteral("true", JsonValue(true));
    case 'f': return ReadLiteral("false", JsonValue(false));
    case 'n': return ReadLiteral("null", JsonValue());
    default: break;
    }
    const std::size_t size = std::min(rest_.find_first_not_of("0123456789+-.eE"), rest_.size());
    JsonValue value;
    if (!ReadNumber(rest_.substr(0, size), value)) return false;
    rest_.remove_prefix(size);
    return value.Accept(document_);
}

bool Reader::ReadLiteral(std::string_view literal, const JsonValue& value) {
    if (!rest_.starts_with(literal)) return false;
    rest_.remove_prefix(literal.size());
    return value.Accept(document_);
}

bool Reader::Open(char close) {
    if (depth_ == kDeepest) return false;
    rest_.remove_prefix(1);
    levels_[depth_++] = {close, 0};
    if (close == '}')
        document_.StartObject();
    else
        document_.StartArray();
    if (Take(close)) return Close();
    valueDue_ = true;
    return close == ']' || ReadKey();
}

// A comma and, in an object, the next key; or the end of what is open, which then is the value.
bool Reader::ReadBehindValue() {
    Level& level = levels_[depth_ - 1];
    ++level.count;
    if (Take(level.close)) return Close();
    valueDue_ = true;
    return Take(',') && (level.close == ']' || ReadKey());
}

bool Reader::Close() {
    const Level level = levels_[--depth_];
    return level.close == '}' ? document_.EndObject(level.count) : document_.EndArray(level.count);
}

// Behind its quote. Most texts have no escapes: they lie in the document as they are decoded.
bool Reader::ReadText(bool isKey) {
    const std::size_t size = rest_.find('"');
    if (size == std::string_view::npos) return false;
    const std::string_view text = rest_.substr(0, size);
    if (HoldsSpecial(text)) return ReadEscapedText(isKey);
    auto* const units =
        static_cast<wchar_t*>(document_.GetAllocator().Malloc((size + 1) * sizeof(wchar_t)));
    wchar_t* const end = DecodeUtf8(text, units);
    *end = L'\0';
    rest_.remove_prefix(size + 1);
    const auto length = static_cast<rapidjson::SizeType>(end - units);
    return isKey ? document_.Key(units, length, false) : document_.String(units, length, false);
}

bool Reader::ReadEscapedText(bool isKey) {
    const auto isSpecial = [](char unit) {
        return unit == '"' || unit == '\\' || (unit >= 0 && unit < ' ');
    };
    Text text;
    for (bool ended = false; !ended;) {
        const auto special = std::ranges::find_if(rest_, isSpecial);
        const auto size = static_cast<std::size_t>(special - rest_.begin());
        if (size == rest_.size()) return false;
        const std::size_t before = text.size();
        text.resize(before + size);
        text.resize(static_cast<std::size_t>(DecodeUtf8(rest_.substr(0, size), &text[before]) -
                                             text.data()));
        rest_.remove_prefix(size + 1);
        ended = *special == '"';
        if (!ended && (*special != '\\' || !ReadEscape(text))) return false;
    }
    const auto length = static_cast<rapidjson::SizeType>(text.size());
    return isKey ? document_.Key(text.data(), length, true)
                 : document_.String(text.data(), length, true);
}

// Behind its backslash.
bool Reader::ReadEscape(Text& out) {
    constexpr std::string_view kLetters = "\"\\/bfnrt";
    constexpr TextView kUnits = L"\"\\/\b\f\n\r\t";
    if (rest_.empty()) return false;
    const char letter = rest_.front();
    rest_.remove_prefix(1);
    if (letter != 'u') {
        const std::size_t which = kLetters.find(letter);
        if (which != TextView::npos) out += kUnits[which];
        return which != TextView::npos;
    }
    wchar_t unit = 0, second = 0;
    if (!ReadUnit(unit) || IsLowSurrogate(unit)) return false;
    out += unit;
    if (!IsHighSurrogate(unit)) return true;
    if (!rest_.starts_with("\\u")) return false; // half of a pair
    rest_.remove_prefix(2);
    if (!ReadUnit(second) || !IsLowSurrogate(second)) return false;
    out += second;
    return true;
}

bool Reader::ReadUnit(wchar_t& unit) {
    constexpr std::size_t kDigits = 4;
    constexpr int kHexadecimal = 16;
    if (rest_.size() < kDigits) return false;
    const char *const begin = rest_.data(), *const end = begin + kDigits;
    std::uint16_t code = 0;
    if (std::from_chars(begin, end, code, kHexadecimal).ptr != end) return false;
    unit = static_cast<wchar_t>(code);
    rest_.remove_prefix(kDigits);
    return true;
}

} // namespace

bool ParseJson(std::string_view utf8, JsonDocument& document) {
    if (!IsUtf8(utf8)) return false;
    bool read = false;
    const auto generate = [&](JsonDocument& filled) { return read = Reader(utf8, filled).Read(); };
    document.Populate(generate);
    return read;
}

bool ParseJson(TextView text, JsonDocument& document) { return ParseJson(ToUtf8(text), document); }

} // namespace halvane
