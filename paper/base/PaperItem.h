#pragma once

#include "tradeapi/Items.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <cstdint>
#include <utility>
#include <variant>
#include <vector>

namespace halvane {

// A property's value with its type.
using PaperValue = std::variant<std::int32_t, std::int64_t, Text>;

// The value as another type: numbers become decimal text, a text its leading number, a number that
// does not fit the nearest limit. No value gives "" or the mark of a missing one.
Text AsText(const PaperValue* value);
std::int32_t AsInt(const PaperValue* value);
std::int64_t AsInt64(const PaperValue* value);

// Values by key, in the order in which they came. What is cleared keeps its memory, texts included,
// for the next row: it is filled in the same way.
template <typename Key> class PaperValues {
  public:
    void Put(Key key, std::int32_t value) { Row(key) = value; }
    void Put(Key key, std::int64_t value) { Row(key) = value; }
    void Put(Key key, TextView value) {
        PaperValue& row = Row(key);
        if (Text* const text = std::get_if<Text>(&row))
            *text = value;
        else
            row.template emplace<Text>(value);
    }

    // Null when there is none.
    const PaperValue* Find(Key key) const {
        const std::size_t at = PlaceOf(key);
        return at < count_ ? &rows_[at].second : nullptr;
    }

    void Clear() {
        before_ = std::exchange(count_, 0);
        places_.fill(0);
    }

  private:
    // Property ids are small: a table tells their rows. All other keys are looked for, first behind
    // the one that was found last: they are asked for in the order in which they were put.
    static constexpr std::size_t kIds = std::integral<Key> ? 128 : 0;
    static constexpr std::size_t kUsual = 32; // rows or a little more

    static bool IsSmall(Key key) {
        if constexpr (kIds > 0) return static_cast<std::size_t>(key) < kIds;
        return false;
    }

    std::size_t PlaceOf(Key key) const {
        if constexpr (kIds > 0) {
            if (IsSmall(key)) return places_[static_cast<std::size_t>(key)] - std::size_t{1};
        }
        const auto isAt = [&](std::size_t at) { return rows_[at].first == key; };
        std::size_t at = likely_ < count_ && isAt(likely_) ? likely_ : 0;
        while (at < count_ && !isAt(at))
            ++at;
        likely_ = at + 1;
        return at;
    }

    PaperValue& Row(Key key) {
        if constexpr (kIds == 0) {
            // As long as keys come as they came the last time, none has come twice.
            if (count_ < before_ && rows_[count_].first == key) return rows_[count_++].second;
            before_ = 0;
        }
        if (const std::size_t at = PlaceOf(key); at < count_) return rows_[at].second;
        if (rows_.empty()) rows_.reserve(kUsual);
        if (count_ == rows_.size()) rows_.emplace_back();
        auto& [rowKey, value] = rows_[count_++];
        rowKey = key;
        if constexpr (kIds > 0) {
            if (IsSmall(key))
                places_[static_cast<std::size_t>(key)] = static_cast<std::uint16_t>(count_);
        }
        return value;
    }

    std::vector<std::pair<Key, PaperValue>> rows_;
    std::size_t count_ = 0;          // of them, the others are kept for later
    std::size_t before_ = 0;         // rows of the last time, as long as the keys are the same
    mutable std::size_t likely_ = 0; // the row that is asked for next
    std::array<std::uint16_t, kIds> places_{}; // of the rows, from 1
};

// A row of the tables that fill an item.
struct NamedNumber {
    TextView name;
    std::int64_t value;
};

// A row or a report of any class: a snapshot that the platform fills in as a whole. Names are those
// of the tables that fill it, so they live as long as the program.
class PaperItem : public Item {
  public:
    explicit PaperItem(ItemClass itemClass) : itemClass_(itemClass) {}

    Text GetText(std::int32_t id) override { return AsText(values_.Find(id)); }
    std::int32_t GetInt(std::int32_t id) override { return AsInt(values_.Find(id)); }
    std::int64_t GetInt64(std::int32_t id) override { return AsInt64(values_.Find(id)); }
    Text GetNamed(TextView name) override { return AsText(named_.Find(name)); }
    Text GetIndexed(std::int32_t id, std::int32_t index) override;

    ItemClass Class() const { return itemClass_; }

    // The value with its type, for those who hand it on; null when there is none.
    const PaperValue* Value(std::int32_t id) const { return values_.Find(id); }
    const PaperValue* NamedValue(TextView name) const { return named_.Find(name); }

    void Clear();
    void Put(std::int32_t id, auto&& value) { values_.Put(id, value); }
    void PutNamed(TextView name, auto&& value) { named_.Put(name, value); }
    void PutIndexed(std::int32_t id, std::vector<Text> texts);

  private:
    ItemClass itemClass_;
    PaperValues<std::int32_t> values_;
    PaperValues<TextView> named_;
    std::int32_t indexedId_ = 0;
    std::vector<Text> indexed_;
};

// The parameters of an order of any class, kept as they were put.
class PaperParameters : public OrderParameters {
  public:
    void PutText(std::int32_t id, TextView value) override { values_.Put(id, value); }
    void PutInt(std::int32_t id, std::int32_t value) override { values_.Put(id, value); }
    void PutInt64(std::int32_t id, std::int64_t value) override { values_.Put(id, value); }

    const PaperValue* Value(std::int32_t id) const { return values_.Find(id); }

  private:
    PaperValues<std::int32_t> values_;
};

} // namespace halvane
