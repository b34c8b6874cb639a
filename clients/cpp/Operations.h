#pragma once

#include <string_view>

namespace halvane::client {

// How a request is to be handled.
struct Handling {
    bool repeatable = false; // asking twice does no harm
    bool heavy = false;      // may hold a worker of the gateway for long: one of these at a time
};

// A name that is not known is neither: it may be an order.
Handling HandlingOf(std::string_view name);

inline constexpr std::string_view kIllegalSession = "the Session is illegal";
inline constexpr std::size_t kPage = 50; // rows of a paged reply

} // namespace halvane::client
