#include "request/LatencyCounts.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace halvane {
namespace {

constexpr int kFinest =
    16; // times below have a class each, above there are eight for each doubling

std::size_t ClassOf(std::uint64_t us) {
    if (us < kFinest) return us;
    const auto shift = static_cast<std::size_t>(std::bit_width(us)) - 4;
    return shift * 8 + (us >> shift);
}

std::int64_t LongestOfClass(std::size_t index) {
    if (index < kFinest) return static_cast<std::int64_t>(index);
    const std::size_t shift = index / 8 - 1;
    return static_cast<std::int64_t>((index % 8 + 9) << shift) - 1;
}

} // namespace

void LatencyCounts::Add(std::int64_t us) {
    const auto time = static_cast<std::uint64_t>(std::max<std::int64_t>(us, 0));
    const std::size_t index = std::min(ClassOf(time), kClasses - 1);
    classes_[index].fetch_add(1, std::memory_order_relaxed);
    std::int64_t longest = longest_.load(std::memory_order_relaxed);
    while (us > longest && !longest_.compare_exchange_weak(longest, us))
        ;
}

std::uint64_t LatencyCounts::Count() const {
    std::uint64_t count = 0;
    for (const auto& each : classes_)
        count += each.load(std::memory_order_relaxed);
    return count;
}

std::int64_t LatencyCounts::Percentile(double share) const {
    const std::uint64_t count = Count();
    const auto wanted =
        static_cast<std::uint64_t>(std::llround(share * static_cast<double>(count)));
    std::uint64_t passed = 0;
    for (std::size_t index = 0; index < kClasses - 1 && count > 0; ++index) {
        passed += classes_[index].load(std::memory_order_relaxed);
        if (passed >= std::max<std::uint64_t>(wanted, 1))
            return std::min(LongestOfClass(index), Longest());
    }
    return Longest();
}

} // namespace halvane
