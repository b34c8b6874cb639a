#include "foundation/support/Json.h"
#include "foundation/support/Numbers.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

namespace halvane {
namespace {

constexpr int kDeepest = 1000;

// A number of a text. RapidJSON never sees one: its own conversion reads outside its tables for
// some small numbers and refuses some that a double holds.
struct Number {
    const wchar_t* begin;
    const wchar_t* end;
    JsonValue value;
};
using Numbers = std::vector<Number>; // in the order of the text

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
bool ReadNumber(TextView text, JsonValue& value) {
    const std::string number(text.begin(), text.end());
    if (!IsNumber(number)) return false;
    if (TakeInteger<std::int64_t>(number, value) || TakeInteger<std::uint64_t>(number, value))
        return true;
    value = JsonValue(DecimalValue(number));
    return std::isfinite(value.GetDouble());
}

// Finds the numbers of a text. False when it nests too deeply or when a number is none. What is no
// JSON for another reason it may let pass.
bool FindNumbers(const Text& text, Numbers& numbers) {
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
        } else if (c == L'-' || IsDigit(c)) {
            const std::size_t begin = at - 1;
            at = std::min(text.find_first_not_of(L"0123456789+-.eE", at), text.size());
            Number number{text.data() + begin, text.data() + at, {}};
            if (!ReadNumber({number.begin, number.end}, number.value)) return false;
            numbers.push_back(std::move(number));
        }
    }
    return true;
}

// The text as RapidJSON meets it, with a zero in each number's place.
class NumberlessStream {
  public:
    using Ch = wchar_t;

    NumberlessStream(const Text& text, const Numbers& numbers)
        : begin_(text.c_str()), at_(begin_), next_(numbers.data()),
          end_(numbers.data() + numbers.size()) {}

    Ch Peek() const { return AtNumber() ? L'0' : *at_; }
    Ch Take() {
        if (!AtNumber()) return *at_++;
        at_ = next_++->end;
        return L'0';
    }
    std::size_t Tell() const { return static_cast<std::size_t>(at_ - begin_); }

    // Of streams that are written in place; not called.
    Ch* PutBegin() { return nullptr; }
    void Put(Ch) {}
    std::size_t PutEnd(Ch*) { return 0; }

  private:
    bool AtNumber() const { return next_ != end_ && at_ == next_->begin; }

    const wchar_t* begin_;
    const wchar_t* at_;
    const Number* next_;
    const Number* end_;
};

// Builds the document from what the parser meets, with the numbers put back.
class DocumentBuilder {
  public:
    DocumentBuilder(JsonDocument& document, Numbers& numbers)
        : document_(document), next_(numbers.begin()) {}

    bool Uint(unsigned) { return next_++->value.Accept(document_); }
    bool Null() { return document_.Null(); }
    bool Bool(bool value) { return document_.Bool(value); }
    bool String(const wchar_t* text, rapidjson::SizeType size, bool copy) {
        return document_.String(text, size, copy);
    }
    bool Key(const wchar_t* text, rapidjson::SizeType size, bool copy) {
        return document_.Key(text, size, copy);
    }
    bool StartObject() { return document_.StartObject(); }
    bool EndObject(rapidjson::SizeType members) { return document_.EndObject(members); }
    bool StartArray() { return document_.StartArray(); }
    bool EndArray(rapidjson::SizeType elements) { return document_.EndArray(elements); }

    // Of numbers other than a zero; not called.
    bool Int(int) { return false; }
    bool Int64(std::int64_t) { return false; }
    bool Uint64(std::uint64_t) { return false; }
    bool Double(double) { return false; }
    bool RawNumber(const wchar_t*, rapidjson::SizeType, bool) { return false; }

  private:
    JsonDocument& document_;
    Numbers::iterator next_;
};

} // namespace

bool ParseJson(const Text& text, JsonDocument& document) {
    if (text.find(L'\0') != Text::npos) return false; // the parser would take it for the end
    Numbers numbers;
    if (!FindNumbers(text, numbers)) return false;
    bool parsed = false;
    const auto read = [&](JsonDocument& filled) {
        NumberlessStream stream(text, numbers);
        DocumentBuilder builder(filled, numbers);
        rapidjson::GenericReader<JsonEncoding, JsonEncoding> reader;
        parsed = !reader.Parse<rapidjson::kParseIterativeFlag>(stream, builder).IsError();
        return parsed;
    };
    try {
        document.Populate(read);
    } catch (const JsonFault&) {
        return false; // half of a surrogate pair
    }
    return parsed;
}

} // namespace halvane
