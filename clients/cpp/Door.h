#pragma once

#include "clients/cpp/Connection.h"

#include <string_view>

namespace halvane::client {

// The way through a gateway's encrypted door, as its owner's line says.
struct Door {
    std::string host;
    int port = 0;
    CurveKeys keys;
};

// Reads "halvane://HOST:PORT/NAME/KEY/KEY", keys in hexadecimal digits. Throws
// std::invalid_argument for any other text, and where the ZeroMQ library cannot encrypt.
Door ReadDoor(std::string_view line);

} // namespace halvane::client
