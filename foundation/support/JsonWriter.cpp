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
    const auto code = static_cast<std::size_t>(unit);
    return {'\\', 'u', '0', '0', kHex[code / 16], kHex[code % 16]};
}

} // namespace

void JsonWriter::Member(const JsonKey& key, const NumberDigits& value) {
    PutKey(key);
    char* const at = Room(NumberDigits::kMost + 1);
    std::memcpy(at, value.text, NumberDigits::kMost);
    at[value.size] = '"';
    size_ += value.size + std::size_t{1};
}

void JsonWriter::MemberNamed(TextView key, TextView value) {
    Append(IsFirst() ? "\"" : ",\"");
    PutText(key);
    Append(":\"");
    PutText(value);
}

void JsonWriter::MemberJson(const JsonKey& key, TextView json) {
    PutKey(key);
    --size_; // the quote
    Append(ToUtf8(json));
}

void JsonWriter::BeginObject() { Append(IsFirst() ? "{" : ",{"); }

std::string JsonWriter::Finish() {
    Append("}");
    bytes_.resize(size_);
    return std::move(bytes_);
}

// Of that size, behind what is written.
char* JsonWriter::Room(std::size_t size) {
    if (bytes_.size() - size_ < size) bytes_.resize(std::max(2 * bytes_.size(), size_ + size));
    return bytes_.data() + size_;
}

void JsonWriter::Append(std::string_view bytes) {
    bytes.copy(Room(bytes.size()), bytes.size());
    size_ += bytes.size();
}

// Behind a bracket that opens nothing is separated by a comma.
bool JsonWriter::IsFirst() const {
    return size_ > 0 && (bytes_[size_ - 1] == '{' || bytes_[size_ - 1] == '[');
}

void JsonWriter::PutKey(const JsonKey& key) {
    const std::size_t comma = IsFirst() ? 1 : 0;
    char* const at = Room(JsonKey::kMost);
    std::memcpy(at, key.Written() + comma, JsonKey::kMost - 1); // of a size that is known
    size_ += key.Size() - comma;
}

void JsonWriter::Open(const JsonKey& key, char bracket) {
    PutKey(key);
    bytes_[size_ - 1] = bracket; // where the quote is
}

// With the quote behind it.
void JsonWriter::PutText(TextView text) {
    char* const begin = Room(text.size() + 1);
    char* at = begin;
    auto unit = text.begin();
    for (; unit != text.end() && IsPlain(*unit); ++unit)
        *at++ = static_cast<char>(*unit);
    size_ += static_cast<std::size_t>(at - begin);
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
