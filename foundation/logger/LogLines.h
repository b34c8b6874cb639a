#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace halvane {

// Lines that wait for the file, in the order in which they came. They lie one after the other in
// blocks of memory that never move, so that a line is copied once, and as long as one block is
// enough nothing is allocated.
class LogLines {
  public:
    static constexpr std::size_t kBlock = 65'536; // a longer line has one of its own

    struct Block {
        std::unique_ptr<char[]> bytes;
        std::size_t room;
        std::size_t size;

        std::string_view View() const { return {bytes.get(), size}; }
    };

    // Puts a line together from its parts; the line's end comes on top. Out of memory, it leaves
    // all as it was.
    void Add(std::initializer_list<std::string_view> parts);

    // Back to nothing, keeping a block for what comes next.
    void Clear();

    std::size_t Count() const { return sizes_.size(); }
    std::span<const Block> Blocks() const { return blocks_; }
    std::span<const std::size_t> Sizes() const { return sizes_; } // of the lines

  private:
    std::vector<Block> blocks_;
    std::vector<std::size_t> sizes_;
};

} // namespace halvane
