#include "foundation/support/Md5.h"

#include <windows.h>

#include <bcrypt.h>

#include <array>
#include <stdexcept>

namespace halvane {

std::string Md5Hex(std::string_view bytes) {
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    if (BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_MD5_ALGORITHM, nullptr, 0) < 0)
        throw std::runtime_error("MD5 is not available");
    std::array<unsigned char, 16> digest{};
    auto* input = reinterpret_cast<unsigned char*>(const_cast<char*>(bytes.data()));
    const NTSTATUS status =
        BCryptHash(algorithm, nullptr, 0, input, static_cast<ULONG>(bytes.size()), digest.data(),
                   static_cast<ULONG>(digest.size()));
    BCryptCloseAlgorithmProvider(algorithm, 0);
    if (status < 0) throw std::runtime_error("MD5 failed");
    std::string digits;
    for (const unsigned char byte : digest) {
        digits.push_back("0123456789abcdef"[byte >> 4]);
        digits.push_back("0123456789abcdef"[byte & 15]);
    }
    return digits;
}

} // namespace halvane
