#include "foundation/support/AddressList.h"

#include "foundation/support/Strings.h"
#include "foundation/support/Utf.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace halvane {
namespace {

constexpr std::uint32_t kLoopback = 127u << 24;
constexpr std::uint32_t kLoopbackMask = 255u << 24;

// Takes a number up to `most` and the character behind it off the text.
std::optional<std::uint32_t> TakeNumber(std::string_view& text, std::uint32_t most, char behind) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || number > most) return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    if (behind != '\0' && (text.empty() || text.front() != behind)) return std::nullopt;
    if (behind != '\0') text.remove_prefix(1);
    return number;
}

std::optional<std::uint32_t> TakeAddress(std::string_view& text) {
    std::uint32_t address = 0;
    for (const char behind : {'.', '.', '.', '\0'}) {
        const auto part = TakeNumber(text, 255, behind);
        if (!part) return std::nullopt;
        address = address << 8 | *part;
    }
    return address;
}

Text WithoutBlanks(TextView text) {
    Text kept(text);
    std::erase(kept, L' ');
    return kept;
}

} // namespace

AddressList::AddressList(TextView list) {
    for (const TextView part : Split(list, L',')) {
        const Text entry = WithoutBlanks(part);
        if (entry.empty()) continue;
        empty_ = false;
        const std::string bytes = ToUtf8(entry);
        std::string_view rest = bytes;
        const auto address = TakeAddress(rest);
        std::optional<std::uint32_t> bits = 32;
        if (!rest.empty() && rest.front() == '/') {
            rest.remove_prefix(1);
            bits = TakeNumber(rest, 32, '\0');
        }
        if (!address || !bits || !rest.empty()) {
            bad_.push_back(entry);
            continue;
        }
        const std::uint32_t mask = *bits == 0 ? 0 : ~0u << (32 - *bits);
        ranges_.push_back({*address & mask, mask});
    }
}

bool AddressList::Contains(std::string_view address) const {
    const auto number = TakeAddress(address);
    if (empty_) return true;
    if (!number || !address.empty()) return false;
    if ((*number & kLoopbackMask) == kLoopback) return true;
    return std::ranges::any_of(
        ranges_, [&](const Range& range) { return (*number & range.mask) == range.address; });
}

} // namespace halvane
