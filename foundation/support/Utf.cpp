#include "foundation/support/Utf.h"

#include <algorithm>
#include <cstdint>

namespace halvane {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

void AppendUtf8(std::string& out, char32_t code) {
    const auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(byte)); };
    if (code < 0x80) {
        put(code);
    } else if (code < 0x800) {
        put(0xC0 | code >> 6);
        put(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        put(0xE0 | code >> 12);
        put(0x80 | (code >> 6 & 0x3F));
        put(0x80 | (code & 0x3F));
    } else {
        put(0xF0 | code >> 18);
        put(0x80 | (code >> 12 & 0x3F));
        put(0x80 | (code >> 6 & 0x3F));
        put(0x80 | (code & 0x3F));
    }
}

void AppendUtf16(Text& out, char32_t code) {
    if (code < 0x10000) {
        out.push_back(static_cast<wchar_t>(code));
    } else {
        out.push_back(static_cast<wchar_t>(0xD800 + ((code - 0x10000) >> 10)));
        out.push_back(static_cast<wchar_t>(0xDC00 + ((code - 0x10000) & 0x3FF)));
    }
}

struct LeadByte {
    std::size_t length;
    char32_t bits;
    char32_t smallest; // the smallest code point that needs this length
};

LeadByte ReadLeadByte(unsigned char byte) {
    if (byte < 0x80) return {1, byte, 0};
    if (byte >= 0xC2 && byte <= 0xDF) return {2, byte & 0x1Fu, 0x80};
    if (byte >= 0xE0 && byte <= 0xEF) return {3, byte & 0x0Fu, 0x800};
    if (byte >= 0xF0 && byte <= 0xF4) return {4, byte & 0x07u, 0x10000};
    return {0, 0, 0};
}

} // namespace

std::optional<Text> FromUtf8(std::string_view bytes) {
    Text out;
    out.reserve(bytes.size());
    for (std::size_t at = 0; at < bytes.size();) {
        const LeadByte lead = ReadLeadByte(static_cast<unsigned char>(bytes[at]));
        if (lead.length == 0 || bytes.size() - at < lead.length) return std::nullopt;
        char32_t code = lead.bits;
        for (std::size_t i = 1; i < lead.length; ++i) {
            const auto next = static_cast<unsigned char>(bytes[at + i]);
            if ((next & 0xC0) != 0x80) return std::nullopt;
            code = code << 6 | (next & 0x3Fu);
        }
        if (code < lead.smallest || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
            return std::nullopt;
        AppendUtf16(out, code);
        at += lead.length;
    }
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

Text ReasonOf(const std::exception& error) { return FromUtf8(error.what()).value_or(L""); }

std::string ToUtf8(TextView text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        auto code = static_cast<char32_t>(text[at]);
        if (IsHighSurrogate(code) && at + 1 < text.size() &&
            IsLowSurrogate(static_cast<char32_t>(text[at + 1]))) {
            const auto low = static_cast<char32_t>(text[++at]);
            code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
        } else if ((code >= 0xD800 && code <= 0xDFFF) || code > 0xFFFF) {
            code = kReplacement;
        }
        AppendUtf8(out, code);
    }
    return out;
}

} // namespace halvane
