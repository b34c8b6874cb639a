#pragma once

#include "tradeapi/Items.h"

#include <array>
#include <cstdint>
#include <utility>
#include <variant>
#include <vector>

namespace halvane {

// A property's value with its type; none where nothing was put.
using PaperValue = std::variant<std::monostate, std::int32_t, std::int64_t, TextView>;

// The value as another type: numbers become decimal text, a text its leading number, a number that
// does not fit the nearest limit. No value gives "" or the mark of a missing one.
Text AsText(const PaperValue& value);
std::int32_t AsInt(const PaperValue& value);
std::int64_t AsInt64(const PaperValue& value);

// An object's properties by their ids, and by their names for those that have one, each put once.
// All their texts lie in one piece of memory, which is kept for the next row when they are cleared.
class PaperProperties {
  public:
    // What no class has is not kept.
    void Put(std::int32_t id, const auto& value) {
        if (IsKnown(id)) byId_[static_cast<std::size_t>(id)] = Keep(value);
    }
    void Put(TextView name, const auto& value) { byName_.emplace_back(name, Keep(value)); }

    // Texts hold until the next is put.
    PaperValue Get(std::int32_t id) const {
        return IsKnown(id) ? ValueOf(byId_[static_cast<std::size_t>(id)]) : PaperValue();
    }
    PaperValue Get(TextView name) const;

    void Clear();

  private:
    static constexpr std::size_t kIds = 96; // more than any class has

    // A number, or where a text lies.
    struct Kept {
        enum class Type : std::uint32_t { None, Int, Int64, Units } type = Type::None;
        std::uint32_t size = 0;
        std::int64_t value = 0;
    };

    static bool IsKnown(std::int32_t id) { return static_cast<std::uint32_t>(id) < kIds; }
    static Kept Keep(std::int32_t value) { return {Kept::Type::Int, 0, value}; }
    static Kept Keep(std::int64_t value) { return {Kept::Type::Int64, 0, value}; }
    Kept Keep(TextView value);
    PaperValue ValueOf(const Kept& kept) const;

    std::array<Kept, kIds> byId_{};
    std::vector<std::pair<TextView, Kept>> byName_;
    mutable std::size_t next_ = 0; // of the names: they are asked for in the order of their puts
    Text texts_;
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

    TextView GetText(std::int32_t id) override { return TextOf(properties_.Get(id)); }
    std::int32_t GetInt(std::int32_t id) override { return AsInt(properties_.Get(id)); }
    std::int64_t GetInt64(std::int32_t id) override { return AsInt64(properties_.Get(id)); }
    TextView GetNamed(TextView name) override { return TextOf(properties_.Get(name)); }
    TextView GetIndexed(std::int32_t id, std::int32_t index) override;

    ItemClass Class() const { return itemClass_; }

    // The value with its type, for those who hand it on.
    PaperValue Value(std::int32_t id) const { return properties_.Get(id); }
    PaperValue NamedValue(TextView name) const { return properties_.Get(name); }

    void Clear();
    void Put(std::int32_t id, const auto& value) { properties_.Put(id, value); }
    void PutNamed(TextView name, const auto& value) { properties_.Put(name, value); }
    void PutIndexed(std::int32_t id, std::vector<Text> texts);

  private:
    TextView TextOf(const PaperValue& value);

    ItemClass itemClass_;
    PaperProperties properties_;
    Text number_; // that was asked for as a text
    std::int32_t indexedId_ = 0;
    std::vector<Text> indexed_;
};

// The parameters of an order of any class, kept as they were put.
class PaperParameters : public OrderParameters {
  public:
    void PutText(std::int32_t id, TextView value) override { properties_.Put(id, value); }
    void PutInt(std::int32_t id, std::int32_t value) override { properties_.Put(id, value); }
    void PutInt64(std::int32_t id, std::int64_t value) override { properties_.Put(id, value); }

    PaperValue Value(std::int32_t id) const { return properties_.Get(id); }

  private:
    PaperProperties properties_;
};

} // namespace halvane
