#include "clients/cpp/Door.h"

#include <charconv>
#include <stdexcept>
#include <vector>

namespace halvane::client {
namespace {

constexpr std::string_view kScheme = "halvane://";
constexpr std::size_t kKeyBytes = 32;
constexpr std::size_t kKeyText = 41; // with the zero

[[noreturn]] void Refuse() {
    throw std::invalid_argument("not a line of HalvanePair: halvane://HOST:PORT/NAME/KEY/KEY");
}

// The key as the library writes it.
std::string KeyText(std::string_view digits) {
    std::uint8_t bytes[kKeyBytes];
    if (digits.size() != 2 * kKeyBytes) Refuse();
    for (std::size_t i = 0; i < kKeyBytes; i++) {
        const char* pair = digits.data() + 2 * i;
        const auto [end, fault] = std::from_chars(pair, pair + 2, bytes[i], 16);
        if (fault != std::errc() || end != pair + 2) Refuse();
    }
    char text[kKeyText];
    zmq_z85_encode(text, bytes, kKeyBytes);
    return text;
}

} // namespace

Door ReadDoor(std::string_view line) {
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r' || line.back() == ' ')) {
        line.remove_suffix(1);
    }
    if (!line.starts_with(kScheme)) Refuse();
    line.remove_prefix(kScheme.size());
    std::vector<std::string_view> parts; // host and port, name, keys
    for (std::size_t slash = 0; slash != std::string_view::npos;) {
        slash = line.find('/');
        parts.push_back(line.substr(0, slash));
        line.remove_prefix(slash == std::string_view::npos ? line.size() : slash + 1);
    }
    if (parts.size() != 4) Refuse();
    const std::size_t colon = parts[0].rfind(':');
    if (colon == std::string_view::npos || colon == 0) Refuse();
    const std::string_view port = parts[0].substr(colon + 1);
    Door door;
    door.host = parts[0].substr(0, colon);
    std::from_chars(port.data(), port.data() + port.size(), door.port);
    door.keys.server = KeyText(parts[2]);
    door.keys.secret = KeyText(parts[3]);
    char own[kKeyText];
    if (zmq_curve_public(own, door.keys.secret.c_str()) != 0) {
        throw std::invalid_argument("this ZeroMQ library cannot encrypt");
    }
    door.keys.own = own;
    return door;
}

} // namespace halvane::client
