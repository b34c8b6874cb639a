#pragma once

#include "foundation/support/Json.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace halvane::desk {

// Writes one JSON object as UTF-8. The desk hands texts on from one wire to another and keeps them
// as the bytes that they are.
class JsonText {
  public:
    JsonText() : writer_(buffer_) { writer_.StartObject(); }

    JsonText& Member(std::string_view key, std::string_view value) {
        Key(key);
        String(value);
        return *this;
    }
    JsonText& Number(std::string_view key, std::int64_t value) {
        Key(key);
        writer_.Int64(value);
        return *this;
    }
    JsonText& Number(std::string_view key, double value) {
        Key(key);
        writer_.Double(value);
        return *this;
    }
    JsonText& Flag(std::string_view key, bool value) {
        Key(key);
        writer_.Bool(value);
        return *this;
    }
    // `json` is a whole value already.
    JsonText& Raw(std::string_view key, std::string_view json) {
        Key(key);
        Raw(json);
        return *this;
    }
    void Raw(std::string_view json) {
        writer_.RawValue(json.data(), json.size(), rapidjson::kObjectType);
    }
    void Element(std::string_view value) { String(value); } // of the open array
    void BeginArray(std::string_view key) {
        Key(key);
        writer_.StartArray();
    }
    void EndArray() { writer_.EndArray(); }

    // Closes the object; nothing may be written after it.
    std::string Finish() {
        writer_.EndObject();
        return {buffer_.GetString(), buffer_.GetSize()};
    }

  private:
    void Key(std::string_view key) {
        writer_.Key(key.data(), static_cast<rapidjson::SizeType>(key.size()));
    }
    void String(std::string_view text) {
        writer_.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    }

    rapidjson::StringBuffer buffer_;
    rapidjson::Writer<rapidjson::StringBuffer> writer_;
};

} // namespace halvane::desk
