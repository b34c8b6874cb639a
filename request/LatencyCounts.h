#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <span>

namespace halvane {

// How long things took, in microseconds, counted in classes no wider than an eighth of their value:
// any number of them in 2 KiB, and a few additions for each. Safe from any thread.
class LatencyCounts {
  public:
    void Add(std::int64_t us);

    std::uint64_t Count() const;
    std::int64_t Longest() const { return longest_; }
    // The time, in us, that this share of all (0 to 1) did not exceed; 0 without any.
    std::int64_t Percentile(double share) const;

  private:
    static constexpr std::size_t kClasses = 256; // the last one, from 4 hours on, has no end

    std::array<std::atomic<std::uint64_t>, kClasses> classes_{};
    std::atomic<std::int64_t> longest_ = 0;
};

} // namespace halvane
