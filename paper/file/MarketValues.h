#pragma once

#include "paper/base/Calendar.h"
#include "paper/file/LocatedJson.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace halvane::paper {

// How single values of a market file are read, and what is said when they are no good.

inline constexpr std::int64_t kDayMs = 86'400'000;

// What is wrong with a file, by line. Of many mistakes only the first 50 are kept.
class Mistakes {
  public:
    void Add(std::int32_t line, const Text& what);
    bool None() const { return kept_.empty(); }
    // "line 12: ..."; "and more" at the end where that is so.
    std::vector<Text> Texts() const;

  private:
    struct Mistake {
        std::int32_t line;
        Text text;
    };
    std::vector<Mistake> kept_; // one more than are told
};

// A value of the file, the way there ("stocks[3].tick"; "" for the whole), and who is told of
// mistakes in it.
struct Passage {
    const LocatedValue& value;
    Text path;
    Mistakes& mistakes;

    Passage Member(const LocatedValue& member) const;
    Passage Item(std::size_t index) const;
    // The member of that name, or where it is missing.
    Passage At(TextView name) const;
    bool Has(TextView name) const { return value.Find(name) != nullptr; }

    void Tell(const Text& what) const;
    // Tells of a value of another kind.
    bool Is(JsonKind kind) const;
};

// What the characters of a text may be, and how people are told.
struct Alphabet {
    const wchar_t* name;
    bool (*holds)(wchar_t character);
};

// Bounds of a number, of the length of a text or a list, of a time in ms. Numbers are counted in
// the unit of what they are for, of which 1 has `unit`, and written with so many decimals at most.
struct Rule {
    std::int64_t least = 0, most = INT64_MAX;
    int decimals = 0;
    std::int64_t unit = 1; // a power of ten
    const Alphabet* alphabet = nullptr;
};

// The value of a passage, checked by a rule. What is wrong is told, and then the result is what no
// good value is, or what does no harm: 0, "", -1 for a time, a day that is not ok().
std::int64_t ReadNumber(const Passage& passage, const Rule& rule);
std::uint64_t ReadUnsigned(const Passage& passage); // all 64 bits
Text ReadText(const Passage& passage, const Rule& rule);
std::int32_t ReadTime(const Passage& passage, const Rule& rule); // "09:00", "13:30:30"
Day ReadDay(const Passage& passage);                             // "2026-12-16"
std::optional<LocalMs> ReadMoment(const Passage& passage);       // "2026-11-20 08:30:00"

// The position of a text among some words; nothing when it is none of them.
std::optional<std::size_t> ReadWord(const Passage& passage, const std::vector<TextView>& words);

// Whether it is a list as long as the rule says. One that is longer or shorter is told of, but can
// be read all the same.
bool IsList(const Passage& passage, const Rule& rule);

} // namespace halvane::paper
