#include "request/orders/PriceText.h"

#include "foundation/support/Numbers.h"
#include "foundation/support/Strings.h"

#include <algorithm>
#include <limits>

namespace halvane {
namespace {

constexpr double kScale = 1e10;

// What counts as a price: "1.2.3" and "." do too, and are read as far as they make sense.
bool IsPlain(TextView text) {
    return !text.empty() && text.find_first_not_of(L"0123456789.") == TextView::npos;
}

bool IsDecimalNumber(TextView text) {
    if (text.starts_with(L'+') || text.starts_with(L'-')) text.remove_prefix(1);
    return IsPlain(text) && std::ranges::count(text, L'.') <= 1 && text != L".";
}

Text ScalePlain(TextView price) { return FixedText(ToDouble(price) * kScale, 0); }

// Up to a second sign: "5+3+2" has the offset "3".
std::optional<TextView> OffsetOf(TextView price) {
    const wchar_t sign = price.find(L'+') != TextView::npos ? L'+' : L'-';
    return SplitField(price, sign, 1);
}

} // namespace

Text RewritePrice(TextView price) {
    if (IsPlain(price)) return ScalePlain(price);
    const std::optional<TextView> offset = OffsetOf(price);
    if (!offset || !IsDecimalNumber(*offset)) return Text(price);
    Text scaled = FixedText(ToDouble(*offset) * kScale, 6);
    TrimTrailingZeros(scaled);
    // The reference before the sign is a name as a rule, so the text is replaced wherever it
    // stands; clients that write a number there have come to rely on both being scaled.
    return ReplaceAll(price, *offset, scaled);
}

Text RewriteChasePrice(TextView chasePrice) {
    const TextView price = *SplitField(chasePrice, L'|', 0);
    const TextView offset = SplitField(chasePrice, L'|', 2).value_or(TextView());
    // With a "-" in its offset the text goes out as it came in: the platform scales such a price
    // itself.
    if (!IsPlain(price) || offset.find(L'-') != TextView::npos) return Text(chasePrice);
    return ScalePlain(price).append(chasePrice.substr(price.size()));
}

std::optional<std::int64_t> ScalePrice(TextView price) {
    if (!IsPlain(price)) return std::nullopt;
    const double scaled = ToDouble(price) * kScale;
    constexpr auto kLargest = std::numeric_limits<std::int64_t>::max();
    return scaled >= 0x1p63 ? kLargest : static_cast<std::int64_t>(scaled);
}

} // namespace halvane
