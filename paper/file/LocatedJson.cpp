#include "paper/file/LocatedJson.h"

#include "foundation/support/Json.h"
#include "foundation/support/Utf.h"

#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace halvane::paper {
namespace {

constexpr std::size_t kDeepest = 32;
constexpr std::size_t kMostValues = 1'000'000;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::int32_t Newlines(std::string_view text) {
    return static_cast<std::int32_t>(std::count(text.begin(), text.end(), '\n'));
}

// Builds the tree from what the parser meets. The parser stands before or within a value then, but
// never on a later line.
class TreeBuilder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, TreeBuilder> {
  public:
    TreeBuilder(const rapidjson::StringStream& stream, std::string_view text)
        : stream_(stream), text_(text) {}

    bool Null() { return Add(JsonKind::Null, {}); }
    bool Bool(bool) { return Add(JsonKind::Bool, {}); }
    bool RawNumber(const char* text, rapidjson::SizeType length, bool) {
        return Add(JsonKind::Number, {text, length});
    }
    bool String(const char* text, rapidjson::SizeType length, bool) {
        return Add(JsonKind::String, {text, length});
    }
    bool Key(const char* text, rapidjson::SizeType length, bool) {
        return Convert({text, length}, name_);
    }
    bool StartObject() { return Open(JsonKind::Object); }
    bool StartArray() { return Open(JsonKind::Array); }
    bool EndObject(rapidjson::SizeType) { return Close(); }
    bool EndArray(rapidjson::SizeType) { return Close(); }

    LocatedValue TakeRoot() { return std::move(root_); }
    // Why the parser was told to stop; "" unless it was.
    const Text& Refusal() const { return refusal_; }

  private:
    bool Add(JsonKind kind, std::string_view text) {
        if (++count_ > kMostValues) return Refuse(L"More than 1000000 values.");
        LocatedValue value{kind, Line(), std::exchange(name_, {}), {}, {}};
        if (!Convert(text, value.text)) return false;
        added_ = open_.empty() ? &root_ : &open_.back()->items.emplace_back();
        *added_ = std::move(value);
        return true;
    }
    // What is open does not move: nothing joins the values around it meanwhile.
    bool Open(JsonKind kind) {
        if (open_.size() == kDeepest) return Refuse(L"More than 32 levels.");
        if (!Add(kind, {})) return false;
        open_.push_back(added_);
        return true;
    }
    bool Close() {
        open_.pop_back();
        return true;
    }

    // An escape may stand for half of a pair, which is no text.
    bool Convert(std::string_view bytes, Text& text) {
        std::optional<Text> converted = FromUtf8(bytes);
        if (!converted) return Refuse(L"The surrogate pair in string is invalid.");
        text = std::move(*converted);
        return true;
    }
    bool Refuse(const wchar_t* why) {
        refusal_ = why;
        return false;
    }

    std::int32_t Line() {
        const std::size_t at = stream_.Tell();
        line_ += Newlines(text_.substr(counted_, at - counted_));
        counted_ = at;
        return line_;
    }

    const rapidjson::StringStream& stream_;
    const std::string_view text_;
    LocatedValue root_;
    LocatedValue* added_ = nullptr;
    std::vector<LocatedValue*> open_;
    Text name_; // of the member that comes next
    Text refusal_;
    std::size_t count_ = 0;
    std::size_t counted_ = 0; // bytes whose newlines are in `line_`
    std::int32_t line_ = 1;
};

LocatedJson Mistake(std::string_view before, Text why) {
    return {std::nullopt, 1 + Newlines(before), std::move(why)};
}

} // namespace

const LocatedValue* LocatedValue::Find(TextView member) const {
    if (kind != JsonKind::Object) return nullptr;
    const auto found = std::ranges::find(items, member, &LocatedValue::name);
    return found == items.end() ? nullptr : &*found;
}

// The parser has UTF-8 on both sides: the numbers that it gives as texts are wrong in other
// encodings.
LocatedJson ReadLocatedJson(const std::string& utf8) {
    constexpr unsigned kFlags =
        rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;
    std::string_view text = utf8;
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    rapidjson::StringStream stream(text.data());
    rapidjson::Reader reader;
    TreeBuilder builder(stream, text);
    const rapidjson::ParseResult result = reader.Parse<kFlags>(stream, builder);
    if (!builder.Refusal().empty())
        return Mistake(text.substr(0, result.Offset()), builder.Refusal());
    if (result.IsError()) {
        const std::string_view why = rapidjson::GetParseError_En(result.Code());
        return Mistake(text.substr(0, result.Offset()), Text(why.begin(), why.end()));
    }
    // The parser takes a zero for the end.
    if (stream.Tell() != text.size())
        return Mistake(text.substr(0, stream.Tell()), L"Invalid value.");
    return {builder.TakeRoot(), 1, {}};
}

} // namespace halvane::paper
