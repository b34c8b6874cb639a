#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace halvane {

// Digits of integers, eight at a time: records are made of little else.

// The eight digits of a number below 10^8 as bytes of 0 to 9, the first one lowest. Halves, their
// halves and theirs are split side by side, with one multiplication for all divisions of a kind.
inline std::uint64_t EightDigits(std::uint64_t number) {
    const std::uint64_t fours = number / 10000 | number % 10000 << 32;
    const std::uint64_t hundreds = (fours * 10486 >> 20) & 0x0000007F0000007F;
    const std::uint64_t twos = hundreds | (fours - hundreds * 100) << 16;
    const std::uint64_t tens = (twos * 103 >> 10) & 0x000F000F000F000F;
    return tens | (twos - tens * 10) << 8;
}

// Writes all eight, whatever the caller keeps of them.
inline void PutEight(char* at, std::uint64_t digits) {
    static_assert(std::endian::native == std::endian::little);
    const std::uint64_t text = digits + 0x3030303030303030;
    std::memcpy(at, &text, sizeof text);
}

// Writes the number without zeros ahead of it and gives the end; up to seven bytes behind it are
// overwritten.
inline char* PutDigits(char* at, std::uint64_t number) {
    constexpr std::uint64_t kEightDigits = 100'000'000;
    if (number >= kEightDigits) {
        at = PutDigits(at, number / kEightDigits);
        PutEight(at, EightDigits(number % kEightDigits));
        return at + 8;
    }
    const std::uint64_t digits = EightDigits(number);
    const int ahead = number == 0 ? 7 : std::countr_zero(digits) / 8;
    PutEight(at, digits >> 8 * ahead);
    return at + 8 - ahead;
}

} // namespace halvane
