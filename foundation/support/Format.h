#pragma once

#include "foundation/support/Text.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

namespace halvane {

// Text from a format and what it has places for: "%s" for text, "%d" for a 32-bit and "%lld" for a
// 64-bit integer, "%%" for a percent sign. A width may stand before the letters; '0' ahead of it
// fills numbers up with zeros, '-' fills up behind. Places and arguments are compared when a call
// is compiled, and nothing else is taken. Of a text, what stands before its first zero counts.

enum class FormatKind { String, Int32, Int64 };

template <class T>
concept Formattable = std::same_as<T, std::int32_t> || std::same_as<T, std::int64_t> ||
    std::convertible_to<const T&, TextView>;

template <Formattable T> constexpr FormatKind KindOfArgument() {
    if (std::same_as<T, std::int32_t>) return FormatKind::Int32;
    return std::same_as<T, std::int64_t> ? FormatKind::Int64 : FormatKind::String;
}

// One argument. It refers to the text that it was made from.
struct FormatArgument {
    FormatArgument(std::int32_t value) : number(value) {}
    FormatArgument(std::int64_t value) : number(value) {}
    FormatArgument(TextView value) : text(value) {}
    FormatArgument(const Text& value) : text(value) {}
    FormatArgument(const wchar_t* value) : text(value) {}

    TextView text;
    std::int64_t number = 0;
};

// One place of a format.
struct FormatPlace {
    FormatKind kind = FormatKind::String;
    bool zeros = false;
    bool left = false;
    std::size_t width = 0;
    std::size_t size = 0; // of its spelling; 0 when it is no place
};

// What begins with the '%' that `format` begins with.
constexpr FormatPlace ReadFormatPlace(TextView format) {
    constexpr struct {
        TextView letters;
        FormatKind kind;
    } kKinds[] = {
        {L"s", FormatKind::String}, {L"d", FormatKind::Int32}, {L"lld", FormatKind::Int64}};
    FormatPlace place;
    std::size_t at = 1;
    for (; at < format.size() && (format[at] == L'-' || format[at] == L'0'); ++at)
        (format[at] == L'-' ? place.left : place.zeros) = true;
    for (; at < format.size() && format[at] >= L'0' && format[at] <= L'9'; ++at)
        place.width = place.width * 10 + static_cast<std::size_t>(format[at] - L'0');
    for (const auto& [letters, kind] : kKinds) {
        if (!format.substr(at).starts_with(letters)) continue;
        place.kind = kind;
        place.size = at + letters.size();
        break;
    }
    return place;
}

constexpr bool FormatFits(TextView format, std::span<const FormatKind> given) {
    for (std::size_t at = format.find(L'%'); at != TextView::npos; at = format.find(L'%', at)) {
        const TextView rest = format.substr(at);
        if (rest.starts_with(L"%%")) {
            at += 2;
            continue;
        }
        const FormatPlace place = ReadFormatPlace(rest);
        if (place.size == 0 || given.empty() || given.front() != place.kind) return false;
        given = given.subspan(1);
        at += place.size;
    }
    return given.empty();
}

// A format that fits its arguments; another one does not compile.
template <Formattable... Arguments> class FormatFor {
  public:
    consteval FormatFor(const wchar_t* format) : text(format) {
        const FormatKind given[] = {KindOfArgument<Arguments>()...,
                                    FormatKind::String}; // one more: never none
        if (!FormatFits(text, {given, sizeof...(Arguments)})) throw "arguments and places differ";
    }

    TextView text;
};

// For those that take a format themselves.
Text FormatAll(TextView format, std::span<const FormatArgument> arguments);
std::string FormatUtf8(TextView format, std::span<const FormatArgument> arguments);

template <Formattable... Arguments>
Text Format(std::type_identity_t<FormatFor<Arguments...>> format, const Arguments&... arguments) {
    const FormatArgument all[] = {arguments..., 0}; // one more: never none
    return FormatAll(format.text, {all, sizeof...(Arguments)});
}

} // namespace halvane
