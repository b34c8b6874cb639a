#include "paper/base/PaperItem.h"

#include "foundation/support/Numbers.h"

namespace halvane {

Text AsText(const PaperValue* value) {
    if (value == nullptr) return {};
    if (const Text* text = std::get_if<Text>(value)) return *text;
    return DecimalText(AsInt64(value));
}

std::int32_t AsInt(const PaperValue* value) {
    if (value == nullptr) return kNoInt;
    if (const std::int32_t* number = std::get_if<std::int32_t>(value)) return *number;
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(AsInt64(value), INT32_MIN, INT32_MAX));
}

std::int64_t AsInt64(const PaperValue* value) {
    if (value == nullptr) return kNoInt64;
    if (const std::int32_t* number = std::get_if<std::int32_t>(value)) {
        return *number == kNoInt ? kNoInt64 : *number;
    }
    if (const std::int64_t* number = std::get_if<std::int64_t>(value)) return *number;
    return ToInt64(std::get<Text>(*value));
}

Text PaperItem::GetIndexed(std::int32_t id, std::int32_t index) {
    if (id != indexedId_ || index < 0) return {};
    const auto at = static_cast<std::size_t>(index);
    return at < indexed_.size() ? indexed_[at] : Text();
}

void PaperItem::Clear() {
    values_.Clear();
    named_.Clear();
    indexed_.clear();
    indexedId_ = 0;
}

void PaperItem::PutIndexed(std::int32_t id, std::vector<Text> texts) {
    indexedId_ = id;
    indexed_ = std::move(texts);
}

} // namespace halvane
