#include "foundation/support/Utf.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <utf8.h>

namespace halvane {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr std::size_t kMostBytes = 3; // of a unit; two units that make a pair have four

std::uint32_t Unit(char byte) { return static_cast<unsigned char>(byte); }
std::uint32_t Unit(auto unit) { return static_cast<std::uint32_t>(unit); }

template <typename Char> bool IsAscii(Char unit) { return Unit(unit) < 0x80; }

// How many bytes at the beginning are ASCII, in whole blocks first, as below.
std::size_t AsciiAhead(std::string_view bytes) {
    constexpr std::size_t kBlock = 64;
    std::size_t at = 0;
    for (; bytes.size() - at >= kBlock; at += kBlock) {
        unsigned char all = 0;
        for (std::size_t i = 0; i < kBlock; ++i)
            all |= static_cast<unsigned char>(bytes[at + i]);
        if (all >= 0x80) break;
    }
    while (at < bytes.size() && IsAscii(bytes[at]))
        ++at;
    return at;
}

// Moves the ASCII at the beginning of `text` to `out` and gives the end there. Nearly all text is
// ASCII: whole blocks, without a branch for each unit, are what the compiler makes wide.
template <typename From, typename To> To* TakeAscii(std::basic_string_view<From>& text, To* out) {
    constexpr std::ptrdiff_t kBlock = 32;
    const From *at = text.data(), *const end = at + text.size();
    for (; end - at >= kBlock; at += kBlock, out += kBlock) {
        std::uint32_t all = 0;
        for (std::ptrdiff_t i = 0; i < kBlock; ++i)
            all |= Unit(at[i]);
        if (all >= 0x80) break;
        for (std::ptrdiff_t i = 0; i < kBlock; ++i)
            out[i] = static_cast<To>(at[i]);
    }
    for (; at != end && IsAscii(*at); ++at)
        *out++ = static_cast<To>(*at);
    text.remove_prefix(static_cast<std::size_t>(at - text.data()));
    return out;
}

// The code point at the beginning of `text`, which it takes off.
char32_t TakeCode(TextView& text) {
    const auto first = static_cast<char32_t>(text[0]);
    const auto second = text.size() > 1 ? static_cast<char32_t>(text[1]) : 0;
    const bool isPair = IsHighSurrogate(first) && IsLowSurrogate(second);
    text.remove_prefix(isPair ? 2 : 1);
    if (isPair) return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
    const bool isAlone = IsHighSurrogate(first) || IsLowSurrogate(first) || first > 0xFFFF;
    return isAlone ? kReplacement : first;
}

void EncodeUtf8(std::string& out, TextView text) {
    const std::size_t before = out.size();
    out.resize(before + text.size());
    const auto length = static_cast<std::size_t>(TakeAscii(text, &out[before]) - out.data());
    if (text.empty()) return;
    out.resize(length + kMostBytes * text.size());
    char* end = out.data() + length;
    while (!text.empty()) {
        end = utf8::unchecked::append(TakeCode(text), end);
        end = TakeAscii(text, end);
    }
    out.resize(static_cast<std::size_t>(end - out.data()));
}

} // namespace

bool IsUtf8(std::string_view bytes) {
    for (;;) {
        bytes.remove_prefix(AsciiAhead(bytes));
        if (bytes.empty()) return true;
        const auto run = std::ranges::find_if(bytes, IsAscii<char>);
        if (!utf8::is_valid(bytes.begin(), run)) return false;
        bytes.remove_prefix(static_cast<std::size_t>(run - bytes.begin()));
    }
}

wchar_t* DecodeUtf8(std::string_view utf8, wchar_t* out) {
    for (;;) {
        out = TakeAscii(utf8, out);
        if (utf8.empty()) return out;
        const auto run = std::ranges::find_if(utf8, IsAscii<char>);
        out = utf8::unchecked::utf8to16(utf8.begin(), run, out);
        utf8.remove_prefix(static_cast<std::size_t>(run - utf8.begin()));
    }
}

std::optional<Text> FromUtf8(std::string_view bytes) {
    if (!IsUtf8(bytes)) return std::nullopt;
    Text out(bytes.size(), L'\0');
    out.resize(static_cast<std::size_t>(DecodeUtf8(bytes, out.data()) - out.data()));
    return out;
}

Text FromFileBytes(std::string_view bytes) {
    constexpr std::string_view kUtf16Mark = "\xFF\xFE";
    const auto unit = [](char byte) {
        return static_cast<wchar_t>(static_cast<unsigned char>(byte));
    };
    Text text;
    if (bytes.starts_with(kUtf16Mark)) {
        text.resize(bytes.size() / 2 - 1);
        for (std::size_t i = 0; i < text.size(); ++i)
            text[i] = static_cast<wchar_t>(unit(bytes[2 * i + 2]) | unit(bytes[2 * i + 3]) << 8);
    } else if (auto fromUtf8 = FromUtf8(bytes)) {
        text = *std::move(fromUtf8);
    } else {
        text.resize(bytes.size());
        std::ranges::transform(bytes, text.begin(), unit);
    }
    return text;
}

Text ReasonOf(const std::exception& error) noexcept {
    try {
        return FromUtf8(error.what()).value_or(L"");
    } catch (const std::exception&) {
        return {};
    }
}

std::string ToUtf8(TextView text) {
    std::string out;
    EncodeUtf8(out, text);
    return out;
}

void AppendUtf8(std::string& out, TextView text) { EncodeUtf8(out, text); }

} // namespace halvane
