#include "foundation/support/Format.h"

#include "foundation/support/Numbers.h"
#include "foundation/support/Utf.h"

#include <algorithm>

namespace halvane {
namespace {

void Append(Text& out, TextView text) { out += text; }
void Append(Text& out, std::string_view ascii) { out.append(ascii.begin(), ascii.end()); }
void Append(std::string& out, TextView text) { AppendUtf8(out, text); }
void Append(std::string& out, std::string_view ascii) { out += ascii; }

// Text with blanks, or for a number zeros behind its sign, up to the width.
void AppendFilled(auto& out, const FormatPlace& place, auto text, bool isNumber) {
    const std::size_t fill = place.width - std::min(place.width, text.size());
    const bool zeros = isNumber && place.zeros && !place.left;
    const std::size_t sign = zeros && text.starts_with('-') ? 1 : 0;
    Append(out, text.substr(0, sign));
    if (!place.left) out.append(fill, zeros ? '0' : ' ');
    Append(out, text.substr(sign));
    if (place.left) out.append(fill, ' ');
}

void AppendArgument(auto& out, const FormatPlace& place, const FormatArgument& argument) {
    if (place.kind == FormatKind::String)
        AppendFilled(out, place, argument.text.substr(0, argument.text.find(L'\0')), false);
    else
        AppendFilled(out, place, DecimalDigits(argument.number).View(), true);
}

template <class Out> Out FormatInto(TextView format, std::span<const FormatArgument> arguments) {
    Out out;
    std::size_t room = format.size();
    for (const FormatArgument& argument : arguments)
        room += argument.text.size() + NumberDigits::kMost;
    out.reserve(room);
    while (!format.empty()) {
        const std::size_t literal = std::min(format.find(L'%'), format.size());
        Append(out, format.substr(0, literal));
        format.remove_prefix(literal);
        if (format.empty()) break;
        const FormatPlace place = ReadFormatPlace(format);
        if (place.size == 0) { // "%%"
            out.push_back('%');
            format.remove_prefix(std::min<std::size_t>(2, format.size()));
            continue;
        }
        AppendArgument(out, place, arguments.front());
        arguments = arguments.subspan(1);
        format.remove_prefix(place.size);
    }
    return out;
}

} // namespace

Text FormatAll(TextView format, std::span<const FormatArgument> arguments) {
    return FormatInto<Text>(format, arguments);
}

std::string FormatUtf8(TextView format, std::span<const FormatArgument> arguments) {
    return FormatInto<std::string>(format, arguments);
}

} // namespace halvane
