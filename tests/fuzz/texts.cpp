#include "foundation/support/Json.h"
#include "foundation/support/JsonWriter.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Strings.h"
#include "request/orders/PriceText.h"
#include "tests/fuzz/Fuzz.h"
#include "tradeapi/NumberText.h"
#include "tradeapi/Symbols.h"
#include "tradeapi/UserKeys.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <utility>
#include <vector>

// What the converters give, against the slowest way to say the same.
namespace halvane {
namespace {

std::optional<Text> Decoded(const std::string& bytes) {
    Text text;
    for (std::size_t at = 0; at < bytes.size();) {
        const auto first = static_cast<unsigned char>(bytes[at++]);
        const int more = first < 0x80   ? 0
                         : first < 0xC0 ? -1
                         : first < 0xE0 ? 1
                         : first < 0xF0 ? 2
                                        : 3;
        if (more < 0 || first > 0xF7) return std::nullopt;
        char32_t code = more == 0 ? first : first & (0x3FU >> more);
        for (int n = 0; n < more; ++n, ++at) {
            if (at == bytes.size() || (bytes[at] & 0xC0) != 0x80) return std::nullopt;
            code = code << 6 | (bytes[at] & 0x3F);
        }
        constexpr char32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
        if (code < kLeast[more] || code > 0x10FFFF || (code >> 11) == 0x1B) return std::nullopt;
        if (code < 0x10000) {
            text += static_cast<wchar_t>(code);
        } else {
            text += static_cast<wchar_t>(0xD7C0 + (code >> 10));
            text += static_cast<wchar_t>(0xDC00 + (code & 0x3FF));
        }
    }
    return text;
}

void CheckUtf(const std::string& bytes) {
    const std::optional<Text> text = FromUtf8(bytes);
    Keep(text == Decoded(bytes), "UTF-8 is decoded");
    if (text) Keep(ToUtf8(*text) == bytes, "text goes back to the same bytes");
    // Any units, halves of pairs among them: only those are changed.
    Text units;
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2)
        units += static_cast<wchar_t>(static_cast<unsigned char>(bytes[at]) << 8 |
                                      static_cast<unsigned char>(bytes[at + 1]));
    Text whole = units;
    for (std::size_t at = 0; at < whole.size(); ++at) {
        const auto high = [&](std::size_t n) {
            return n < whole.size() && (whole[n] >> 10) == 0x36;
        };
        const auto low = [&](std::size_t n) {
            return n < whole.size() && (whole[n] >> 10) == 0x37;
        };
        if (high(at) && low(at + 1)) {
            ++at;
        } else if (high(at) || low(at)) {
            whole[at] = 0xFFFD;
        }
    }
    Keep(Decoded(ToUtf8(units)) == whole, "any text becomes UTF-8");
}

// The longest beginning that is a number, after blanks; "" without digits.
std::string Beginning(const Text& text, bool point) {
    std::string number;
    std::size_t at = 0;
    while (at < text.size() && (text[at] == L' ' || (text[at] >= L'\t' && text[at] <= L'\r')))
        ++at;
    bool digits = false, pointed = !point;
    if (at < text.size() && (text[at] == L'-' || text[at] == L'+'))
        number += static_cast<char>(text[at++]);
    for (; at < text.size(); ++at) {
        const bool digit = text[at] >= L'0' && text[at] <= L'9';
        if (!digit && (pointed || text[at] != L'.')) break;
        digits = digits || digit;
        pointed = pointed || !digit;
        number += static_cast<char>(text[at]);
    }
    return digits ? number : std::string();
}

template <class Integer> Integer Saturated(const std::string& number) {
    using Limits = std::numeric_limits<Integer>;
    __int128 value = 0;
    for (const char c : number) {
        if (c >= '0' && c <= '9' && value < (__int128{1} << 100)) value = value * 10 + (c - '0');
    }
    if (number.starts_with('-')) value = -value;
    return static_cast<Integer>(std::clamp<__int128>(value, Limits::min(), Limits::max()));
}

std::string Printed(double value, int decimals) {
    std::string text(400, '\0');
    text.resize(
        static_cast<std::size_t>(std::snprintf(text.data(), text.size(), "%.*f", decimals, value)));
    return text;
}

bool Same(double a, double b) { return a == b && std::signbit(a) == std::signbit(b); }

void CheckNumbers(const Text& text) {
    const std::string whole = Beginning(text, false), decimal = Beginning(text, true);
    Keep(ToInt32(text) == Saturated<std::int32_t>(whole), "a 32-bit integer is read");
    Keep(ToInt64(text) == Saturated<std::int64_t>(whole), "a 64-bit integer is read");
    const double value = decimal.empty() ? 0 : std::strtod(decimal.c_str(), nullptr);
    Keep(Same(ToDouble(text), value), "a decimal is read");
    if (std::isfinite(value))
        for (const int decimals : {0, 2, 6, 8})
            Keep(ToUtf8(FixedText(value, decimals)) == Printed(value, decimals),
                 "decimals are exact");
    Text trimmed = text, expected = text;
    TrimTrailingZeros(trimmed);
    if (expected.find(L'.') != Text::npos) {
        while (expected.back() == L'0')
            expected.pop_back();
        if (expected.back() == L'.') expected.pop_back();
    }
    Keep(trimmed == expected, "zeros are trimmed");
}

// By integers alone; nothing where a double cannot know the answer.
std::optional<std::string> Fixed(std::int64_t value, int scale, int decimals) {
    std::int64_t unit = 1;
    for (int n = decimals; n < scale; ++n)
        unit *= 10;
    const std::int64_t size = std::abs(value), rest = size % unit;
    const bool half = unit > 1 && rest * 2 == unit && decimals != 2; // cents go away from zero
    if (size >= (std::int64_t{1} << 50) || half) return std::nullopt;
    std::string digits = std::to_string((size + unit / 2) / unit);
    const auto most = static_cast<std::size_t>(decimals);
    digits.insert(0, most + 1 - std::min(digits.size(), most + 1), '0');
    digits.insert(digits.size() - most, ".");
    while (digits.back() == '0')
        digits.pop_back();
    if (digits.back() == '.') digits.pop_back();
    return (value < 0 ? "-" : "") + digits;
}

void CheckFixedPoint(std::int64_t value) {
    constexpr struct {
        int mode, scale, decimals;
    } kModes[] = {
        {kWhole, 0, 0}, {kAmount, 6, 6}, {kPrice, 10, 7}, {kCents, 10, 2}, {kAveragePrice, 10, 8}};
    for (const auto& [mode, scale, decimals] : kModes) {
        const auto expected =
            mode == kWhole && value == INT64_MIN ? "" : Fixed(value, scale, decimals);
        Keep(!expected || FormatFixedPoint(value, mode).View() == *expected, "a figure is written");
    }
    Keep(DecimalText(value) == *FromUtf8(std::to_string(value)), "an integer is written");
}

// A price of up to ten places below 225,000 by its digits; nothing for any other text.
std::optional<std::int64_t> Units(const Text& price) {
    const std::size_t point = std::min(price.find(L'.'), price.size());
    Text digits = price.substr(0, point);
    Text decimals = point < price.size() ? price.substr(point + 1) : Text();
    if ((digits + decimals).empty() || decimals.size() > 10 || digits.size() > 6 ||
        (digits + decimals).find_first_not_of(L"0123456789") != Text::npos)
        return std::nullopt;
    decimals.resize(10, L'0');
    const std::int64_t units = Saturated<std::int64_t>(ToUtf8(digits + decimals));
    return units < 225'000 * 10'000'000'000 ? std::optional(units) : std::nullopt;
}

// Unlike a price it keeps what the double's product has beside the unit.
Text Offset(const Text& price) {
    char units[64];
    std::snprintf(units, sizeof units, "%.6lf", std::strtod(ToUtf8(price).c_str(), nullptr) * 1e10);
    const std::string all = units;
    const std::string some = all.substr(0, all.find_last_not_of('0') + 1);
    return *FromUtf8(some.ends_with('.') ? some.substr(0, some.size() - 1) : some);
}

void CheckPrices(const Text& text) {
    const Text rewritten = RewritePrice(text);
    const auto units = Units(text);
    if (units) {
        Keep(rewritten == DecimalText(*units), "a price is in units");
        Text padded = text.find(L'.') == Text::npos ? text + L"." : text;
        padded.resize(padded.find(L'.') + 11, L'0');
        Keep(ScalePrice(padded + L"5") == *units, "a price that is filled up arrives");
        for (const Text reference : {L"B+", L"A-"})
            Keep(RewritePrice(reference + text) == reference + Offset(text),
                 "an offset is in units");
    }
    const bool plain = !text.empty() && text.find_first_not_of(L"0123456789.") == Text::npos;
    Keep(ScalePrice(text).has_value() == plain, "only plain prices are sent");
    if (!plain && text.find_first_of(L"+-") == Text::npos)
        Keep(rewritten == text, "other texts stay");
    const Text price = text.substr(0, text.find(L'|'));
    const bool isPlain = !price.empty() && price.find_first_not_of(L"0123456789.") == Text::npos;
    const auto parts = Split(text, L'|');
    const bool stays = !isPlain || (parts.size() > 2 && parts[2].find(L'-') != TextView::npos);
    const Text chase = stays ? text : RewritePrice(price) + text.substr(price.size());
    Keep(RewriteChasePrice(text) == chase, "a chase price keeps what follows");
}

void CheckStrings(const Text& text, const Text& other) {
    Text joined;
    for (const TextView part : Split(text, L';'))
        joined.append(part).append(L";");
    joined.pop_back();
    Keep(joined == text, "parts make the whole");
    const auto parts = Split(text, L';');
    for (std::size_t n = 0; n <= parts.size(); ++n)
        Keep(SplitField(text, L';', n) ==
                 (n < parts.size() ? std::optional(parts[n]) : std::nullopt),
             "a part is found");
    Text replaced;
    for (std::size_t at = 0; at < text.size();) {
        const bool here = !other.empty() && text.compare(at, other.size(), other) == 0;
        replaced += here ? L"<>" : Text(1, text[at]);
        at += here ? other.size() : 1;
    }
    Keep(ReplaceAll(text, other, L"<>") == replaced, "all are replaced");
    // A contract has no further parts of a symbol in it.
    if (text.empty() || other.empty() || (text + other).find_first_of(L".^") != Text::npos) return;
    for (const auto& [a, b] : {std::pair(L"OV.O.X.", L"OV.O.X."), std::pair(L"OV.F.X.", L"OV.F.X."),
                               std::pair(L"OV.F.X.", L"OV.O.X.")}) {
        const std::pair legs(a + text, b + other);
        Keep(SplitCombinedSymbol(CombineSymbols(legs.first, legs.second)) == legs,
             "a pair comes apart as it was");
    }
}

// What a client gets back: cut at "=", with one ";" for several and none at the end.
Text AsItReturns(const Text& value) {
    Text cut = value.substr(0, value.find(L'='));
    Text once;
    for (const TextView part : Split(cut, L';')) {
        if (part.empty()) continue;
        once.append(once.empty() ? L"" : L";").append(part);
    }
    return once;
}

void CheckUserKeys(const std::map<int, Text>& keys) {
    JsonWriter writer;
    std::vector<std::pair<Text, Text>> expected{{L"UserKey1", L"first"}};
    bool simple = true;
    for (const auto& [number, value] : keys) {
        writer.MemberNamed(L"UserKey" + DecimalText(number), value);
        if (number < 2 || number > 100) continue;
        simple = simple && value.find_first_of(L";=#") == Text::npos;
        expected.emplace_back(L"UserKey" + DecimalText(number),
                              AsItReturns(*Decoded(ToUtf8(value))));
    }
    const std::string bytes = writer.Finish();
    JsonDocument order;
    Keep(ParseJson(*FromUtf8(bytes), order), "JSON is written");
    for (const auto& [number, value] : keys) // halves of pairs are replaced
        Keep(StringMember(order, L"UserKey" + DecimalText(number)) == *Decoded(ToUtf8(value)),
             "a text arrives as it was written");
    const Text packed = PackUserKeys(order);
    if (expected.size() == 1) expected.emplace_back(L"UserKey2", L"");
    JsonWriter out;
    WriteUserKeys(out, L"first", packed);
    JsonDocument expanded;
    Keep(ParseJson(out.Finish(), expanded), "JSON is written");
    std::vector<std::pair<Text, Text>> members;
    for (const auto& [name, value] : std::as_const(expanded).GetObject())
        members.emplace_back(Text(name.GetString(), name.GetStringLength()),
                             Text(value.GetString(), value.GetStringLength()));
    if (simple) Keep(members == expected, "keys come back");
}

void CheckJson(const std::string& bytes) {
    const auto text = FromUtf8(bytes);
    JsonDocument document, again;
    if (!text || !ParseJson(*text, document)) return;
    Keep(ParseJson(WriteJson(document), again) && WriteJson(again) == WriteJson(document),
         "JSON is written as it was read");
}

} // namespace
} // namespace halvane

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace halvane;
    FuzzedDataProvider input(data, size);
    const auto value = input.ConsumeIntegral<std::int64_t>();
    CheckFixedPoint(value);
    CheckFixedPoint(value % 1'000'000 * 50'000'000);             // halves of cents
    for (const std::int64_t limit : {0x7FFFFFFFL, -0x80000000L}) // and a little less or more
        CheckNumbers(DecimalText(limit + value % 16));
    const std::string bytes = input.ConsumeRandomLengthString(),
                      more = input.ConsumeRandomLengthString();
    const Text text = FromFileBytes(bytes), other = FromFileBytes(more);
    CheckUtf(bytes);
    CheckNumbers(text);
    CheckPrices(text);
    CheckStrings(text, other);
    CheckUserKeys({{2, text}, {7, other}, {101, text}});
    CheckJson(bytes);
    return 0;
}
