#include "paper/orders/Identities.h"

#include "foundation/support/Numbers.h"

#include <algorithm>

namespace halvane::paper {

// In one piece of memory: every row that is read has two or more of them.
Text Identities::TextOf(wchar_t kind, std::uint64_t number) const {
    const NumberDigits digits = DecimalDigits(static_cast<std::int64_t>(number));
    Text text(1 + stem_.size() + 1 + digits.size, kind);
    wchar_t* const behind = std::ranges::copy(stem_, text.data() + 1).out;
    *behind = L'-';
    std::ranges::copy(digits.View(), behind + 1);
    return text;
}

// A number has one spelling here.
std::uint64_t Identities::NumberIn(wchar_t kind, TextView identity) const {
    constexpr std::size_t kMostDigits = 18;
    const std::size_t before = 1 + stem_.size() + 1;
    if (identity.size() <= before || identity.size() > before + kMostDigits) return 0;
    const TextView digits = identity.substr(before);
    if (identity[0] != kind || identity.substr(1, stem_.size()) != stem_ ||
        identity[before - 1] != L'-' || digits[0] == L'0' ||
        !std::ranges::all_of(digits, [](wchar_t c) { return c >= L'0' && c <= L'9'; }))
        return 0;
    return static_cast<std::uint64_t>(ToInt64(digits));
}

} // namespace halvane::paper
