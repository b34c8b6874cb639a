#include "foundation/support/Format.h"

#include "foundation/support/Numbers.h"

#include <algorithm>

namespace halvane {
namespace {

void AppendText(Text& out, const FormatPlace& place, TextView text) {
    text = text.substr(0, text.find(L'\0'));
    const std::size_t fill = place.width - std::min(place.width, text.size());
    if (!place.left) out.append(fill, L' ');
    out += text;
    if (place.left) out.append(fill, L' ');
}

void AppendNumber(Text& out, const FormatPlace& place, std::int64_t number) {
    const Text digits = DecimalText(number);
    const bool zeros = place.zeros && !place.left && digits.size() < place.width;
    if (!zeros) return AppendText(out, place, digits);
    const std::size_t sign = number < 0 ? 1 : 0;
    out.append(digits, 0, sign);
    out.append(place.width - digits.size(), L'0');
    out.append(digits, sign);
}

} // namespace

Text FormatAll(TextView format, std::span<const FormatArgument> arguments) {
    constexpr std::size_t kNumber = 20; // digits and sign
    std::size_t room = format.size();
    for (const FormatArgument& argument : arguments)
        room += argument.text.size() + kNumber;
    Text out;
    out.reserve(room);
    while (!format.empty()) {
        const std::size_t literal = std::min(format.find(L'%'), format.size());
        out += format.substr(0, literal);
        format.remove_prefix(literal);
        if (format.empty()) break;
        const FormatPlace place = ReadFormatPlace(format);
        if (place.size == 0) { // "%%"
            out.push_back(L'%');
            format.remove_prefix(std::min<std::size_t>(2, format.size()));
            continue;
        }
        const FormatArgument& argument = arguments.front();
        arguments = arguments.subspan(1);
        format.remove_prefix(place.size);
        if (place.kind == FormatKind::String)
            AppendText(out, place, argument.text);
        else
            AppendNumber(out, place, argument.number);
    }
    return out;
}

} // namespace halvane
