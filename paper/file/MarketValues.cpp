#include "paper/file/MarketValues.h"

#include "foundation/support/Format.h"
#include "foundation/support/Numbers.h"
#include "paper/base/Units.h"

#include <algorithm>
#include <cstdlib>

namespace halvane::paper {
namespace {

namespace chrono = std::chrono;

constexpr std::size_t kMostMistakes = 50;
constexpr std::size_t kLongestShown = 40;
constexpr std::int32_t kFirstYear = 2000, kLastYear = 2199;

// clang-format off
constexpr const wchar_t* kKindNames[] = { // by JsonKind
    L"null", L"true or false", L"a number", L"a text", L"a list", L"an object",
};
// clang-format on

const wchar_t* NameOf(JsonKind kind) { return kKindNames[static_cast<std::size_t>(kind)]; }

bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }
bool IsControl(wchar_t c) { return c < 0x20 || (c >= 0x7F && c < 0xA0); }

// A mistake is one line, whatever the file holds.
Text Printable(TextView text) {
    Text shown(text.substr(0, kLongestShown));
    std::ranges::replace_if(shown, IsControl, L'?');
    return text.size() > kLongestShown ? shown + L"..." : shown;
}

// The value of a number or a text.
Text Shown(const LocatedValue& value) {
    const Text text = Printable(value.text);
    return value.kind == JsonKind::String ? L"\"" + text + L"\"" : text;
}

// Whether a text has the digits where the form has zeros, and else the same characters.
bool HasForm(TextView text, TextView form) {
    return std::ranges::equal(text, form,
                              [](wchar_t a, wchar_t b) { return b == L'0' ? IsDigit(a) : a == b; });
}

Text RangeText(const Rule& rule) {
    const Text most = ScaledText(rule.most, rule.unit);
    const bool above0 = rule.least == 1 && rule.unit > 1;
    return above0 ? L"above 0 and at most " + most
                  : L"in " + ScaledText(rule.least, rule.unit) + L".." + most;
}

// In ms since midnight.
std::optional<std::int32_t> TimeOf(TextView text) {
    const bool seconds = HasForm(text, L"00:00:00");
    if (!seconds && !HasForm(text, L"00:00")) return std::nullopt;
    const std::int32_t hour = ToInt32(text);
    const std::int32_t minute = ToInt32(text.substr(3));
    const std::int32_t second = seconds ? ToInt32(text.substr(6)) : 0;
    if (minute > 59 || second > 59) return std::nullopt;
    return ((hour * 60 + minute) * 60 + second) * 1000;
}

std::optional<Day> DayIn(TextView text) {
    if (!HasForm(text, L"0000-00-00")) return std::nullopt;
    const std::int32_t year = ToInt32(text);
    const Day day = DayOf((year * 100 + ToInt32(text.substr(5))) * 100 + ToInt32(text.substr(8)));
    if (year < kFirstYear || year > kLastYear || !day.ok()) return std::nullopt;
    return day;
}

std::optional<LocalMs> MomentIn(TextView text) {
    if (!HasForm(text, L"0000-00-00 00:00:00")) return std::nullopt;
    const std::optional<Day> day = DayIn(text.substr(0, 10));
    const std::optional<std::int32_t> time = TimeOf(text.substr(11));
    if (!day || !time || *time >= kDayMs) return std::nullopt;
    return chrono::local_days(*day) + chrono::milliseconds(*time);
}

} // namespace

void Mistakes::Add(std::int32_t line, const Text& what) {
    const auto at = std::ranges::upper_bound(kept_, line, {}, &Mistake::line);
    if (at == kept_.end() && kept_.size() > kMostMistakes) return;
    kept_.insert(at, {line, Format(L"line %d: ", line) + what});
    if (kept_.size() > kMostMistakes + 1) kept_.pop_back();
}

std::vector<Text> Mistakes::Texts() const {
    std::vector<Text> texts;
    for (const Mistake& mistake : kept_)
        texts.push_back(mistake.text);
    if (texts.size() > kMostMistakes) texts.back() = L"and more";
    return texts;
}

Passage Passage::Member(const LocatedValue& member) const {
    const Text name = Printable(member.name);
    return {member, path.empty() ? name : path + L"." + name, mistakes};
}

Passage Passage::Item(std::size_t index) const {
    return {value.items[index], path + L"[" + DecimalText(static_cast<std::int64_t>(index)) + L"]",
            mistakes};
}

Passage Passage::At(TextView name) const {
    const LocatedValue* member = value.Find(name);
    return member == nullptr ? *this : Member(*member);
}

void Passage::Tell(const Text& what) const {
    mistakes.Add(value.line, path.empty() ? what : path + L": " + what);
}

bool Passage::Is(JsonKind kind) const {
    if (value.kind == kind) return true;
    Tell(Format(L"must be %s, not %s", NameOf(kind), NameOf(value.kind)));
    return false;
}

std::int64_t ReadNumber(const Passage& passage, const Rule& rule) {
    if (!passage.Is(JsonKind::Number)) return 0;
    const Text& text = passage.value.text;
    const Text shown = Shown(passage.value);
    const std::size_t point = std::min(text.find(L'.'), text.size());
    const Text fraction = point == text.size() ? Text() : text.substr(point + 1);
    const std::size_t digits = DecimalText(rule.unit).size() - 1;
    std::int64_t number = 0;
    if (text.find_first_of(L"eE") != Text::npos) {
        passage.Tell(shown + L" has an exponent");
    } else if (rule.decimals == 0 && !fraction.empty()) {
        passage.Tell(shown + L" is not a whole number");
    } else if (fraction.size() > static_cast<std::size_t>(rule.decimals)) {
        passage.Tell(shown + Format(L" has more than %d decimals", rule.decimals));
    } else {
        number = ToInt64(WithoutPoint(text, digits));
        if (number >= rule.least && number <= rule.most) return number;
        passage.Tell(shown + L" is not " + RangeText(rule));
    }
    return 0;
}

std::uint64_t ReadUnsigned(const Passage& passage) {
    if (!passage.Is(JsonKind::Number)) return 0;
    std::uint64_t number = 0;
    for (const wchar_t c : passage.value.text) {
        const std::uint64_t digit = static_cast<std::uint64_t>(c) - L'0';
        if (!IsDigit(c) || number > (UINT64_MAX - digit) / 10) {
            passage.Tell(Shown(passage.value) +
                         L" is not a whole number in 0..18446744073709551615");
            return 0;
        }
        number = number * 10 + digit;
    }
    return number;
}

Text ReadText(const Passage& passage, const Rule& rule) {
    if (!passage.Is(JsonKind::String)) return {};
    const Text& text = passage.value.text;
    const auto length = static_cast<std::int64_t>(text.size());
    if (length >= rule.least && length <= rule.most &&
        std::ranges::all_of(text, rule.alphabet->holds))
        return text;
    const Text least = rule.least == rule.most ? Text() : DecimalText(rule.least) + L" to ";
    passage.Tell(Shown(passage.value) + L" is not " + least + DecimalText(rule.most) + L" " +
                 rule.alphabet->name);
    return {};
}

std::int32_t ReadTime(const Passage& passage, const Rule& rule) {
    if (!passage.Is(JsonKind::String)) return -1;
    const std::optional<std::int32_t> time = TimeOf(passage.value.text);
    if (time && *time <= rule.most) return *time;
    passage.Tell(Shown(passage.value) + L" is no time \"hh:mm\" or \"hh:mm:ss\"");
    return -1;
}

Day ReadDay(const Passage& passage) {
    if (!passage.Is(JsonKind::String)) return {};
    const std::optional<Day> day = DayIn(passage.value.text);
    if (!day) passage.Tell(Shown(passage.value) + L" is no day \"yyyy-mm-dd\" of 2000 to 2199");
    return day.value_or(Day());
}

std::optional<LocalMs> ReadMoment(const Passage& passage) {
    if (!passage.Is(JsonKind::String)) return std::nullopt;
    const std::optional<LocalMs> moment = MomentIn(passage.value.text);
    if (!moment)
        passage.Tell(Shown(passage.value) +
                     L" is no moment \"yyyy-mm-dd hh:mm:ss\" of 2000 to 2199");
    return moment;
}

std::optional<std::size_t> ReadWord(const Passage& passage, const std::vector<TextView>& words) {
    if (!passage.Is(JsonKind::String)) return std::nullopt;
    const auto found = std::ranges::find(words, TextView(passage.value.text));
    if (found != words.end()) return static_cast<std::size_t>(found - words.begin());
    Text choice;
    for (const TextView word : words)
        choice.append(choice.empty() ? L"" : L", ").append(word);
    passage.Tell(Shown(passage.value) + L" is none of " + choice);
    return std::nullopt;
}

bool IsList(const Passage& passage, const Rule& rule) {
    if (!passage.Is(JsonKind::Array)) return false;
    const auto length = static_cast<std::int64_t>(passage.value.items.size());
    if (length < rule.least) {
        passage.Tell(L"must not be empty");
    } else if (length > rule.most) {
        passage.Tell(L"has more than " + DecimalText(rule.most) + L" elements");
    }
    return true;
}

} // namespace halvane::paper
