#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace halvane::paper {

// Counts that grow, of rows that are appended, and their sums up to any row, in steps as many as
// the number of rows has bits: each entry has the sum of as many rows as its number's lowest bit
// says (a Fenwick tree).
class RunningSum {
  public:
    void Append(std::size_t count);
    void Add(std::size_t row, std::size_t more);

    std::size_t Total() const { return total_; }
    // The row that `position` falls into when all are counted through from 0, and how far in it.
    // `position` is below the total.
    std::pair<std::size_t, std::size_t> Find(std::size_t position) const;

  private:
    std::vector<std::size_t> sums_; // of entry 1 first
    std::size_t total_ = 0;
};

} // namespace halvane::paper
