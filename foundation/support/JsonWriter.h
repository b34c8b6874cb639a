#pragma once

#include "foundation/support/Numbers.h"

#include <array>
#include <string>

namespace halvane {

// The name of a member, of printable ASCII, as it is written with all that stands around it: made
// when the program is compiled, so that a member begins with one copy.
class JsonKey {
  public:
    static constexpr std::size_t kMost = 48;

    consteval JsonKey(const wchar_t* name) : name_(name) {
        Put(',');
        Put('"');
        for (const wchar_t unit : name_) {
            if (unit < L' ' || unit > L'~' || unit == L'"' || unit == L'\\')
                throw "to be escaped in JSON";
            Put(static_cast<char>(unit));
        }
        for (const char each : {'"', ':', '"'})
            Put(each);
    }

    constexpr TextView Name() const { return name_; }
    // Begins with a comma and ends with the quote of a text.
    const char* Written() const { return written_.data(); }
    std::size_t Size() const { return size_; }

  private:
    consteval void Put(char c) { written_.at(size_++) = c; }

    TextView name_;
    std::array<char, kMost> written_{};
    std::size_t size_ = 0;
};

// Writes a document member by member, compactly, in the order of the calls, as UTF-8: a surrogate
// without its partner becomes U+FFFD.
class JsonWriter {
  public:
    JsonWriter() { *end_++ = '{'; }
    JsonWriter(const JsonWriter&) = delete;
    JsonWriter& operator=(const JsonWriter&) = delete;

    void Member(const JsonKey& key, TextView value);
    void Member(const JsonKey& key, const NumberDigits& value);
    void MemberNamed(TextView key, TextView value); // of a name that is not known before
    // A value that is JSON.
    void MemberJson(const JsonKey& key, TextView json);
    void MemberBytes(const JsonKey& key, std::string_view utf8); // likewise, in UTF-8

    void BeginObject(const JsonKey& key) { Open(key, '{'); }
    void BeginArray(const JsonKey& key) { Open(key, '['); }
    void BeginObject(); // an element of the open array
    void EndObject() { Append("}"); }
    void EndArray() { Append("]"); }

    // Closes the outermost object and gives the document; nothing may be written after it.
    std::string Finish();

  private:
    // The end, with at least so much room behind it.
    char* Room(std::size_t size) {
        if (static_cast<std::size_t>(limit_ - end_) < size) Grow(size);
        return end_;
    }
    void Grow(std::size_t size);
    void Append(std::string_view bytes);
    bool IsFirst() const { return end_[-1] == '{' || end_[-1] == '['; }
    char* PutKey(const JsonKey& key, std::size_t room);
    void PutText(char* at, TextView text);
    void PutEscaped(TextView text);
    void Open(const JsonKey& key, char bracket);

    std::string bytes_ = std::string(240, '\0'); // longer than what is written
    char* end_ = bytes_.data();                  // of what is written
    char* limit_ = end_ + bytes_.size();
};

} // namespace halvane
