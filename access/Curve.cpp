#include "access/Curve.h"

#include "foundation/support/Hex.h"

#include <array>
#include <cstdint>
#include <stdexcept>

namespace halvane {
namespace {

constexpr std::size_t kKeyBytes = 32;

// The last four free the place of a peer that vanished without a word after 25 s, as at the plain
// port.
constexpr struct {
    int option;
    int value;
} kOptions[] = {
    {ZMQ_LINGER, 0},
    {ZMQ_CURVE_SERVER, 1},
    {ZMQ_HANDSHAKE_IVL, 10000},
    {ZMQ_BACKLOG, 1024},
    {ZMQ_TCP_KEEPALIVE, 1},
    {ZMQ_TCP_KEEPALIVE_IDLE, 10},
    {ZMQ_TCP_KEEPALIVE_INTVL, 5},
    {ZMQ_TCP_KEEPALIVE_CNT, 3},
};

using KeyText = std::array<char, 41>; // as the library writes keys, with a zero at the end

std::string HexOf(const KeyText& key) {
    std::array<std::uint8_t, kKeyBytes> bytes{};
    zmq_z85_decode(bytes.data(), key.data());
    return HexDigits({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

KeyText TextOfKey(const std::string& hex) {
    const std::string bytes = BytesOfHex(hex).value_or("");
    if (bytes.size() != kKeyBytes) throw std::runtime_error("not a key: 64 hexadecimal digits");
    KeyText text{};
    zmq_z85_encode(text.data(), reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    return text;
}

void Require(bool done) {
    if (!done) throw std::runtime_error("libzmq was built without encryption");
}

} // namespace

CurveKeys MakeCurveKeys() {
    KeyText publicKey{};
    KeyText secretKey{};
    Require(zmq_curve_keypair(publicKey.data(), secretKey.data()) == 0);
    return {HexOf(publicKey), HexOf(secretKey)};
}

CurveKeys CurveKeysOf(const std::string& secretKey) {
    KeyText publicKey{};
    Require(zmq_curve_public(publicKey.data(), TextOfKey(secretKey).data()) == 0);
    return {HexOf(publicKey), secretKey};
}

ZmqSocket MakeDoor(void* context, int kind, const CurveKeys& server, const std::string& domain,
                   std::int64_t largestMessage) {
    const std::string secret = BytesOfHex(server.secretKey).value_or("");
    ZmqSocket door(zmq_socket(context, kind));
    for (const auto& [option, value] : kOptions)
        SetZmqOption(door.get(), option, value);
    zmq_setsockopt(door.get(), ZMQ_MAXMSGSIZE, &largestMessage, sizeof largestMessage);
    Require(zmq_setsockopt(door.get(), ZMQ_CURVE_SECRETKEY, secret.data(), secret.size()) == 0);
    zmq_setsockopt(door.get(), ZMQ_ZAP_DOMAIN, domain.data(), domain.size());
    return door;
}

} // namespace halvane
