#include "clients/cpp/halvane.h"
#include "foundation/support/Json.h"

#include <algorithm>
#include <limits>

namespace halvane::client {
namespace {

using Utf8 = rapidjson::UTF8<>;

struct AnyJson : rapidjson::BaseReaderHandler<Utf8, AnyJson> {};

struct TextTaker : rapidjson::BaseReaderHandler<Utf8, TextTaker> {
    bool String(const char* characters, rapidjson::SizeType size, bool) {
        text.assign(characters, size);
        return true;
    }

    std::string text;
};

// Iterative, so that no depth of nesting overflows the stack.
bool IsJson(const std::string& text) {
    rapidjson::GenericReader<Utf8, Utf8> reader;
    rapidjson::StringStream stream(text.c_str());
    AnyJson handler;
    constexpr unsigned kFlags = rapidjson::kParseIterativeFlag |
                                rapidjson::kParseValidateEncodingFlag |
                                rapidjson::kParseNumbersAsStringsFlag;
    return text.find('\0') == std::string::npos && !reader.Parse<kFlags>(stream, handler).IsError();
}

// What follows walks over text that was found to be JSON, so it need not look for faults.

bool IsBlank(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

std::size_t SkipBlanks(std::string_view json, std::size_t at) {
    while (at < json.size() && IsBlank(json[at]))
        at++;
    return at;
}

std::size_t SkipString(std::string_view json, std::size_t at) {
    for (at++; json[at] != '"'; at++) {
        if (json[at] == '\\') at++;
    }
    return at + 1;
}

std::size_t SkipNested(std::string_view json, std::size_t at) {
    std::size_t depth = 0;
    do {
        const char c = json[at];
        if (c == '"') {
            at = SkipString(json, at);
            continue;
        }
        if (c == '{' || c == '[') depth++;
        if (c == '}' || c == ']') depth--;
        at++;
    } while (depth > 0);
    return at;
}

std::size_t SkipValue(std::string_view json, std::size_t at) {
    if (json[at] == '"') return SkipString(json, at);
    if (json[at] == '{' || json[at] == '[') return SkipNested(json, at);
    while (at < json.size() && !IsBlank(json[at]) && json[at] != ',' && json[at] != '}' &&
           json[at] != ']') {
        at++;
    }
    return at;
}

// The text in a string with its quotes.
std::string Unquoted(std::string_view quoted) {
    if (quoted.find('\\') == std::string_view::npos) {
        return std::string(quoted.substr(1, quoted.size() - 2));
    }
    const std::string whole(quoted);
    rapidjson::GenericReader<Utf8, Utf8> reader;
    rapidjson::StringStream stream(whole.c_str());
    TextTaker taker;
    reader.Parse(stream, taker);
    return std::move(taker.text);
}

std::string PlainText(std::string_view value) {
    if (value.empty() || value[0] == '{' || value[0] == '[' || value == "null") return {};
    return value[0] == '"' ? Unquoted(value) : std::string(value);
}

template <class Take> void ForEachElement(std::string_view array, Take take) {
    if (array.empty() || array[0] != '[') return;
    for (std::size_t at = SkipBlanks(array, 1); array[at] != ']';) {
        const std::size_t end = SkipValue(array, at);
        take(array.substr(at, end - at));
        at = SkipBlanks(array, end);
        if (array[at] == ',') at = SkipBlanks(array, at + 1);
    }
}

// Calls `take` with key, in its quotes, and value of each member, as long as it returns true.
template <class Take> void ForEachMember(std::string_view object, Take take) {
    for (std::size_t at = SkipBlanks(object, 1); object[at] != '}';) {
        const std::size_t keyEnd = SkipString(object, at);
        const std::size_t value = SkipBlanks(object, SkipBlanks(object, keyEnd) + 1);
        const std::size_t end = SkipValue(object, value);
        if (!take(object.substr(at, keyEnd - at), object.substr(value, end - value))) return;
        at = SkipBlanks(object, end);
        if (object[at] == ',') at = SkipBlanks(object, at + 1);
    }
}

bool IsKey(std::string_view quoted, std::string_view key) {
    if (quoted.find('\\') != std::string_view::npos) return Unquoted(quoted) == key;
    return quoted.substr(1, quoted.size() - 2) == key;
}

std::string Quoted(std::string_view text) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    return {buffer.GetString(), buffer.GetSize()};
}

} // namespace

std::optional<Message> Message::Parse(std::string json) {
    if (!json.empty() && json.back() == '\0') json.pop_back();
    if (json.size() > std::numeric_limits<std::uint32_t>::max() || !IsJson(json)) return {};
    const std::size_t open = SkipBlanks(json, 0);
    if (json[open] != '{') return {};
    Message message;
    message.json_ = std::move(json);
    message.FindMembers(open);
    return message;
}

Message Message::OfPart(std::string_view object) {
    Message message;
    message.json_ = object;
    message.FindMembers(0);
    return message;
}

void Message::FindMembers(std::size_t open) {
    const auto narrow = [](std::size_t size) { return static_cast<std::uint32_t>(size); };
    const std::string_view json = json_;
    ForEachMember(json.substr(open), [&](std::string_view key, std::string_view value) {
        members_.push_back(
            {narrow(static_cast<std::size_t>(key.data() - json.data())), narrow(key.size()),
             narrow(static_cast<std::size_t>(value.data() - json.data())), narrow(value.size())});
        return true;
    });
    members_.shrink_to_fit();
}

std::string_view Message::Find(std::string_view key) const {
    const std::string_view json = json_;
    for (auto member = members_.rbegin(); member != members_.rend(); ++member) {
        if (IsKey(json.substr(member->key, member->keySize), key)) {
            return json.substr(member->value, member->valueSize);
        }
    }
    return {};
}

std::string Message::Text(std::string_view key) const { return PlainText(Find(key)); }

std::string Message::TextIn(std::string_view object, std::string_view key) const {
    const std::string_view whole = Find(object);
    std::string text;
    if (whole.empty() || whole[0] != '{') return text;
    ForEachMember(whole, [&](std::string_view name, std::string_view value) {
        const bool found = IsKey(name, key);
        if (found) text = PlainText(value);
        return !found;
    });
    return text;
}

bool Message::Has(std::string_view key) const { return !Find(key).empty(); }

Message Message::Object(std::string_view key) const {
    const std::string_view value = Find(key);
    return value.empty() || value[0] != '{' ? Message() : OfPart(value);
}

std::vector<Message> Message::Rows(std::string_view key) const {
    std::vector<Message> rows;
    ForEachElement(Find(key), [&](std::string_view element) {
        if (element[0] == '{') rows.push_back(OfPart(element));
    });
    return rows;
}

std::vector<std::string> Message::Texts(std::string_view key) const {
    std::vector<std::string> texts;
    ForEachElement(Find(key), [&](std::string_view element) {
        if (element[0] != '{' && element[0] != '[') texts.push_back(PlainText(element));
    });
    return texts;
}

std::vector<std::string> Message::Keys() const {
    std::vector<std::string> keys;
    for (const Member& member : members_) {
        keys.push_back(Unquoted(std::string_view(json_).substr(member.key, member.keySize)));
    }
    return keys;
}

Members::Members(Texts texts) {
    for (const auto& [key, value] : texts)
        Text(key, value);
}

Members& Members::Text(std::string_view key, std::string_view value) {
    return Json(key, Quoted(value));
}

Members& Members::Object(std::string_view key, const Members& object) {
    return Json(key, "{" + object.inside_ + "}");
}

Members& Members::Json(std::string_view key, std::string_view json) {
    if (!inside_.empty()) inside_ += ',';
    inside_.append(Quoted(key)).append(":").append(json);
    return *this;
}

Members& Members::All(const Message& message, std::initializer_list<std::string_view> apart) {
    const std::string_view json = message.json_;
    for (const Message::Member& member : message.members_) {
        const std::string key = Unquoted(json.substr(member.key, member.keySize));
        if (std::find(apart.begin(), apart.end(), key) != apart.end()) continue;
        Json(key, json.substr(member.value, member.valueSize));
    }
    return *this;
}

Members Param(Members::Texts texts) { return Members().Object("Param", Members(texts)); }

} // namespace halvane::client
