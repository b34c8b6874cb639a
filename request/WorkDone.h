#pragma once

#include <atomic>
#include <cstdint>

namespace halvane {

// What a worker has served, ever. The worker adds to it ahead of each reply, the broker reads it;
// each has a line of the processor's cache to itself.
struct alignas(64) WorkDone {
    std::atomic<std::uint64_t> requests = 0;
    std::atomic<std::uint64_t> bytes = 0; // of the requests
};

} // namespace halvane
