#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace halvane {

// Lines that wait for the file, in the order in which they came. They lie one after the other in
// blocks of memory that never move, so that a line is copied once, and as long as one block is
// enough nothing is allocated.
class LogLines {
  public:
    static constexpr std::size_t kBlock = 65'536; // a longer line has one of its own

    // Puts a line together from its parts; the line's end comes on top. Out of memory, it leaves
    // all as it was.
    void Add(std::initializer_list<std::string_view> parts);

    // Back to nothing, keeping a block for what comes next.
    void Clear();

    std::size_t Count() const { return sizes_.size(); }
    const std::vector<std::string>& Blocks() const { return blocks_; }
    std::span<const std::size_t> Sizes() const { return sizes_; } // of the lines

  private:
    std::vector<std::string> blocks_;
    std::vector<std::size_t> sizes_;
};

} // namespace halvane
