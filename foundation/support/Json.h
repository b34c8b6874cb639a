#pragma once

#include "foundation/support/Text.h"

#include <cstdlib>
#include <new>
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

// The C library's memory for RapidJSON, which writes to what it is given without a look: a want is
// an exception.
struct JsonMemory {
    static constexpr bool kNeedFree = true; // spelt so by RapidJSON
    static void* Malloc(std::size_t size) {
        return Given(size == 0 ? nullptr : std::malloc(size), size);
    }
    static void* Realloc(void* block, std::size_t, std::size_t size) {
        if (size != 0) return Given(std::realloc(block, size), size);
        std::free(block);
        return nullptr;
    }
    static void Free(void* block) { std::free(block); }

  private:
    static void* Given(void* block, std::size_t size) {
        if (block == nullptr && size != 0) throw std::bad_alloc();
        return block;
    }
};

// JSON documents hold UTF-16, as all text inside the process.
using JsonEncoding = rapidjson::UTF16<wchar_t>;
using JsonPool = rapidjson::MemoryPoolAllocator<JsonMemory>;
using JsonValue = rapidjson::GenericValue<JsonEncoding, JsonPool>;
using JsonDocument = rapidjson::GenericDocument<JsonEncoding, JsonPool, JsonMemory>;

// Parses one document. False for what is no JSON or no UTF-8, nests deeper than 1,000 levels (later
// steps recurse), holds an escape that is half of a surrogate pair, or a number beyond the largest
// double. Integers of up to 64 bits keep their value, all other numbers are the nearest double.
[[nodiscard]] bool ParseJson(std::string_view utf8, JsonDocument& document);
[[nodiscard]] bool ParseJson(TextView text, JsonDocument& document);

// The value as compact JSON: no white space, members in order.
Text WriteJson(const JsonValue& value);

// The one way to read members: anything unfit (no object, no such member) reads as missing.
const JsonValue* FindMember(const JsonValue& object, TextView name);

// The text of a string member in its whole length; "" when missing or not a string.
TextView StringMember(const JsonValue& object, TextView name);

using JsonBuffer = rapidjson::GenericStringBuffer<JsonEncoding, JsonMemory>;

// RapidJSON's writer, except that of the shortest texts for a decimal it takes the closest.
class ExactWriter : public rapidjson::Writer<JsonBuffer, JsonEncoding, JsonEncoding, JsonMemory> {
  public:
    using Writer::Writer;
    bool Double(double value);
};

} // namespace halvane
