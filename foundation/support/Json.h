#pragma once

#include "foundation/support/Text.h"

#include <stdexcept>

namespace halvane {

// RapidJSON checks its preconditions with this: a fault in a document must not end the process.
struct JsonFault : std::logic_error {
    using std::logic_error::logic_error;
};

} // namespace halvane

#define RAPIDJSON_ASSERT(x) static_cast<void>((x) ? void() : throw halvane::JsonFault("json: " #x))
#define RAPIDJSON_HAS_STDSTRING 0

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace halvane {

// JSON documents hold UTF-16, as all text inside the process.
using JsonEncoding = rapidjson::UTF16<wchar_t>;
using JsonValue = rapidjson::GenericValue<JsonEncoding>;
using JsonDocument = rapidjson::GenericDocument<JsonEncoding>;

// Parses one document. False for text that is no JSON, nests deeper than 1,000 levels (later steps
// recurse), holds half of a surrogate pair, or a number beyond the largest double. Integers of up
// to 64 bits keep their value, all other numbers are the nearest double.
[[nodiscard]] bool ParseJson(const Text& text, JsonDocument& document);

// The value as compact JSON: no white space, members in order.
Text WriteJson(const JsonValue& value);

// The one way to read members: anything unfit (no object, no such member) reads as missing.
const JsonValue* FindMember(const JsonValue& object, TextView name);

// The text of a string member in its whole length; "" when missing or not a string.
TextView StringMember(const JsonValue& object, TextView name);

using JsonBuffer = rapidjson::GenericStringBuffer<JsonEncoding>;

// RapidJSON's writer, except that of the shortest texts for a decimal it takes the closest, and
// that a text in which nothing is escaped goes as one block.
class ExactWriter : public rapidjson::Writer<JsonBuffer, JsonEncoding, JsonEncoding> {
  public:
    using Writer::Writer;
    bool Double(double value);
    bool String(const wchar_t* text, rapidjson::SizeType size, bool copy = false);
    bool Key(const wchar_t* text, rapidjson::SizeType size, bool copy = false) {
        return String(text, size, copy);
    }
};

// Writes a document member by member, compactly, in the order of the calls.
class JsonWriter {
  public:
    JsonWriter() : writer_(buffer_) { writer_.StartObject(); }

    void Member(TextView key, TextView value) {
        Key(key);
        String(value);
    }
    void Member(TextView key, const JsonValue& value) {
        Key(key);
        value.Accept(writer_);
    }
    // A value that is JSON already, as it is.
    void Raw(TextView key, TextView json) {
        Key(key);
        writer_.RawValue(json.data(), json.size(), rapidjson::kObjectType);
    }
    void BeginObject(TextView key) {
        Key(key);
        writer_.StartObject();
    }
    void BeginArray(TextView key) {
        Key(key);
        writer_.StartArray();
    }
    void BeginObject() { writer_.StartObject(); } // an element of the open array
    void EndObject() { writer_.EndObject(); }
    void EndArray() { writer_.EndArray(); }

    // Closes the outermost object and gives the text, which lives as long as the writer; nothing
    // may be written after it.
    TextView Finish() {
        writer_.EndObject();
        return {buffer_.GetString(), buffer_.GetSize() / sizeof(wchar_t)};
    }

  private:
    void Key(TextView key) {
        writer_.Key(key.data(), static_cast<rapidjson::SizeType>(key.size()));
    }
    void String(TextView text) {
        writer_.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    }

    JsonBuffer buffer_;
    ExactWriter writer_;
};

} // namespace halvane
