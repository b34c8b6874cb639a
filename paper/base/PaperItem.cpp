#include "paper/base/PaperItem.h"

#include "foundation/support/Numbers.h"

#include <algorithm>

namespace halvane {

Text AsText(const PaperValue& value) {
    if (const TextView* text = std::get_if<TextView>(&value)) return Text(*text);
    return value.index() == 0 ? Text() : DecimalText(AsInt64(value));
}

std::int32_t AsInt(const PaperValue& value) {
    if (value.index() == 0) return kNoInt;
    if (const std::int32_t* number = std::get_if<std::int32_t>(&value)) return *number;
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(AsInt64(value), INT32_MIN, INT32_MAX));
}

std::int64_t AsInt64(const PaperValue& value) {
    if (value.index() == 0) return kNoInt64;
    if (const std::int32_t* number = std::get_if<std::int32_t>(&value)) {
        return *number == kNoInt ? kNoInt64 : *number;
    }
    if (const std::int64_t* number = std::get_if<std::int64_t>(&value)) return *number;
    return ToInt64(std::get<TextView>(value));
}

PaperProperties::Kept PaperProperties::Keep(TextView value) {
    constexpr std::size_t kUsual = 256; // units of all texts of a row, or a little more
    if (texts_.capacity() < kUsual) texts_.reserve(kUsual);
    const auto at = static_cast<std::int64_t>(texts_.size());
    texts_ += value;
    return {Kept::Type::Units, static_cast<std::uint32_t>(value.size()), at};
}

PaperValue PaperProperties::ValueOf(const Kept& kept) const {
    switch (kept.type) {
    case Kept::Type::None: break;
    case Kept::Type::Int: return static_cast<std::int32_t>(kept.value);
    case Kept::Type::Int64: return kept.value;
    case Kept::Type::Units:
        return TextView(texts_).substr(static_cast<std::size_t>(kept.value), kept.size);
    }
    return {};
}

PaperValue PaperProperties::Get(TextView name) const {
    for (std::size_t looked = 0; looked < byName_.size(); ++looked) {
        if (next_ >= byName_.size()) next_ = 0;
        const auto& [key, kept] = byName_[next_++];
        if (key == name) return ValueOf(kept);
    }
    return {};
}

void PaperProperties::Clear() {
    byId_ = {};
    byName_.clear();
    texts_.clear();
}

TextView PaperItem::TextOf(const PaperValue& value) {
    if (const TextView* text = std::get_if<TextView>(&value)) return *text;
    if (value.index() == 0) return {};
    const NumberDigits digits = DecimalDigits(AsInt64(value));
    number_.assign(digits.text, digits.text + digits.size);
    return number_;
}

TextView PaperItem::GetIndexed(std::int32_t id, std::int32_t index) {
    if (id != indexedId_ || index < 0) return {};
    const auto at = static_cast<std::size_t>(index);
    return at < indexed_.size() ? TextView(indexed_[at]) : TextView();
}

void PaperItem::Clear() {
    properties_.Clear();
    indexed_.clear();
    indexedId_ = 0;
}

void PaperItem::PutIndexed(std::int32_t id, std::vector<Text> texts) {
    indexedId_ = id;
    indexed_ = std::move(texts);
}

} // namespace halvane
