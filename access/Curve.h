#pragma once

#include "foundation/support/Zmq.h"

#include <cstdint>
#include <string>

namespace halvane {

// One side's keys for an encrypted connection, each as 64 hexadecimal digits. Who has the secret
// one can show that the public one is his.
struct CurveKeys {
    std::string publicKey;
    std::string secretKey;
};

// New ones, from the system's random source. Both throw std::runtime_error when the library was
// built without encryption.
CurveKeys MakeCurveKeys();

// The keys that belong to a secret one.
CurveKeys CurveKeysOf(const std::string& secretKey);

// A socket to be bound where strangers are: it takes encrypted connections only, who may connect is
// asked under that domain, and messages beyond that size end their connection.
ZmqSocket MakeDoor(void* context, int kind, const CurveKeys& server, const std::string& domain,
                   std::int64_t largestMessage);

} // namespace halvane
