#include "foundation/support/JsonWriter.h"

#include "foundation/support/Utf.h"

#include <algorithm>
#include <cstring>

namespace halvane {
namespace {

bool IsEscaped(wchar_t unit) { return unit < L' ' || unit == L'"' || unit == L'\\'; }
bool IsPlain(wchar_t unit) { return unit < 0x80 && !IsEscaped(unit); }

std::string Escape(wchar_t unit) {
    constexpr TextView kUnits = L"\b\t\n\f\r\"\\";
    constexpr std::string_view kLetters = "btnfr\"\\", kHex = "0123456789ABCDEF";
    const std::size_t which = kUnits.find(unit);
    if (which != TextView::npos) return {'\\', kLetters[which]};
    const auto code = static_cast<unsigned char>(unit);
    return {'\\', 'u', '0', '0', kHex[code / 16], kHex[code % 16]};
}

} // namespace

void JsonWriter::Member(const JsonKey& key, TextView value) {
    PutText(PutKey(key, value.size() + 1), value);
}

void JsonWriter::Member(const JsonKey& key, const NumberDigits& value) {
    char* const at = PutKey(key, NumberDigits::kMost + 1);
    std::memcpy(at, value.text, NumberDigits::kMost); // of a size that is known
    at[value.size] = '"';
    end_ = at + value.size + 1;
}

void JsonWriter::MemberNamed(TextView key, TextView value) {
    Append(IsFirst() ? "\"" : ",\"");
    PutText(Room(key.size() + 1), key);
    Append(":\"");
    PutText(Room(value.size() + 1), value);
}

void JsonWriter::MemberJson(const JsonKey& key, TextView json) { MemberBytes(key, ToUtf8(json)); }

void JsonWriter::MemberBytes(const JsonKey& key, std::string_view utf8) {
    end_ = PutKey(key, 0) - 1; // without the quote
    Append(utf8);
}

void JsonWriter::BeginObject() { Append(IsFirst() ? "{" : ",{"); }

std::string JsonWriter::Finish() {
    Append("}");
    bytes_.resize(static_cast<std::size_t>(end_ - bytes_.data()));
    return std::move(bytes_);
}

void JsonWriter::Grow(std::size_t size) {
    const auto written = static_cast<std::size_t>(end_ - bytes_.data());
    bytes_.resize(std::max(2 * bytes_.size(), written + size));
    end_ = bytes_.data() + written;
    limit_ = bytes_.data() + bytes_.size();
}

void JsonWriter::Append(std::string_view bytes) {
    bytes.copy(Room(bytes.size()), bytes.size());
    end_ += bytes.size();
}

// Without a comma behind a bracket. Gives the key's end, with so much room behind it.
char* JsonWriter::PutKey(const JsonKey& key, std::size_t room) {
    char* const at = Room(JsonKey::kMost + room);
    const std::size_t skipped = IsFirst() ? 1 : 0;
    std::memcpy(at, key.Written() + skipped, JsonKey::kMost - 1); // of a size that is known
    return at + key.Size() - skipped;
}

void JsonWriter::Open(const JsonKey& key, char bracket) {
    end_ = PutKey(key, 0);
    end_[-1] = bracket; // where the quote is
}

// With the quote behind it, where there is room for both if nothing is to be escaped.
void JsonWriter::PutText(char* at, TextView text) {
    auto unit = text.begin();
    for (; unit != text.end() && IsPlain(*unit); ++unit)
        *at++ = static_cast<char>(*unit);
    end_ = at;
    if (unit != text.end()) PutEscaped({unit, text.end()});
    Append("\"");
}

void JsonWriter::PutEscaped(TextView text) {
    while (!text.empty()) {
        const auto run = std::ranges::find_if(text, IsEscaped);
        Append(ToUtf8(TextView(text.begin(), run)));
        if (run != text.end()) Append(Escape(*run));
        text = {run + (run != text.end() ? 1 : 0), text.end()};
    }
}

} // namespace halvane
