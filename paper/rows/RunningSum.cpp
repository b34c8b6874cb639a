#include "paper/rows/RunningSum.h"

#include <bit>

namespace halvane::paper {
namespace {

std::size_t LowestBit(std::size_t entry) { return entry & (~entry + 1); }

} // namespace

void RunningSum::Append(std::size_t count) {
    const std::size_t entry = sums_.size() + 1;
    std::size_t sum = count;
    for (std::size_t part = 1; part < LowestBit(entry); part *= 2)
        sum += sums_[entry - part - 1];
    sums_.push_back(sum);
    total_ += count;
}

void RunningSum::Add(std::size_t row, std::size_t more) {
    for (std::size_t entry = row + 1; entry <= sums_.size(); entry += LowestBit(entry))
        sums_[entry - 1] += more;
    total_ += more;
}

std::pair<std::size_t, std::size_t> RunningSum::Find(std::size_t position) const {
    std::size_t row = 0;
    for (std::size_t step = std::bit_floor(sums_.size()); step > 0; step /= 2) {
        if (row + step > sums_.size() || sums_[row + step - 1] > position) continue;
        row += step;
        position -= sums_[row - 1];
    }
    return {row, position};
}

} // namespace halvane::paper
