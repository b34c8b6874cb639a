#pragma once

#include "foundation/support/Text.h"

#include <exception>
#include <filesystem>
#include <optional>

namespace halvane {

// The only place where text becomes bytes and bytes become text: sockets, files, narrow endpoints.

// UTF-8 to text. Nothing when the bytes are not well-formed (over-long forms, surrogates and code
// points above U+10FFFF included).
std::optional<Text> FromUtf8(std::string_view bytes);

bool IsUtf8(std::string_view bytes);

// Puts the text of bytes that are UTF-8 where there is room for as many units, and gives its end.
wchar_t* DecodeUtf8(std::string_view utf8, wchar_t* out);

// The two halves of a pair.
constexpr bool IsHighSurrogate(auto unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool IsLowSurrogate(auto unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

// The text of a file that somebody else has written: UTF-16 when it begins with that byte-order
// mark (little-endian, the mark is no part of the text), else UTF-8, else one character for each
// byte.
Text FromFileBytes(std::string_view bytes);

// What the exception says; "" when that is not UTF-8, or when there is no memory for it: so it may
// be asked for where nothing may fail any more.
Text ReasonOf(const std::exception& error) noexcept;

// Text to UTF-8, always well-formed: a surrogate without its partner becomes U+FFFD.
std::string ToUtf8(TextView text);
void AppendUtf8(std::string& out, TextView text);

// Text to the narrow encoding of the system: the thread's ANSI code page on Windows ("?" for what
// it lacks), UTF-8 elsewhere.
std::string ToNarrow(TextView text);

// Whether bytes that are UTF-8 are the same in that encoding.
bool IsNarrow(std::string_view utf8);

// File names in the form that the system's file functions take, and back.
std::filesystem::path ToPath(TextView text);
Text FromPath(const std::filesystem::path& path);

} // namespace halvane
