#pragma once

#include "tradeapi/Items.h"

#include <algorithm>
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

// Values by key, in the order in which they came.
template <typename Key> class PaperValues {
  public:
    void Put(Key key, PaperValue value) {
        if (PaperValue* old = FindForWrite(key)) {
            *old = std::move(value);
        } else {
            rows_.emplace_back(key, std::move(value));
        }
    }

    // Null when there is none.
    const PaperValue* Find(Key key) const {
        return const_cast<PaperValues*>(this)->FindForWrite(key);
    }

    void Clear() { rows_.clear(); }

  private:
    PaperValue* FindForWrite(Key key) {
        const auto row = std::find_if(rows_.begin(), rows_.end(),
                                      [&](const auto& each) { return each.first == key; });
        return row == rows_.end() ? nullptr : &row->second;
    }

    std::vector<std::pair<Key, PaperValue>> rows_;
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
    void Put(std::int32_t id, PaperValue value) { values_.Put(id, std::move(value)); }
    void PutNamed(TextView name, PaperValue value) { named_.Put(name, std::move(value)); }
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
    void PutText(std::int32_t id, TextView value) override { values_.Put(id, Text(value)); }
    void PutInt(std::int32_t id, std::int32_t value) override { values_.Put(id, value); }
    void PutInt64(std::int32_t id, std::int64_t value) override { values_.Put(id, value); }

    const PaperValue* Value(std::int32_t id) const { return values_.Find(id); }

  private:
    PaperValues<std::int32_t> values_;
};

} // namespace halvane
