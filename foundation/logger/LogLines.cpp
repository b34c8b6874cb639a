#include "foundation/logger/LogLines.h"

#include <algorithm>
#include <cstring>

namespace halvane {
namespace {

constexpr char kEnd[] = {'\r', '\n'};

} // namespace

void LogLines::Add(std::initializer_list<std::string_view> parts) {
    std::size_t size = sizeof kEnd;
    for (const std::string_view part : parts)
        size += part.size();
    if (blocks_.empty() || blocks_.back().room - blocks_.back().size < size) {
        const std::size_t room = std::max(size, kBlock);
        blocks_.push_back({std::make_unique_for_overwrite<char[]>(room), room, 0});
    }
    sizes_.push_back(size);
    Block& block = blocks_.back();
    char* at = block.bytes.get() + block.size;
    for (const std::string_view part : parts) {
        part.copy(at, part.size());
        at += part.size();
    }
    std::memcpy(at, kEnd, sizeof kEnd);
    block.size += size;
}

void LogLines::Clear() {
    if (blocks_.size() > 1) blocks_.resize(1);
    std::erase_if(blocks_, [](const Block& block) { return block.room > kBlock; });
    for (Block& first : blocks_)
        first.size = 0;
    sizes_.clear();
    if (sizes_.capacity() > kBlock) sizes_ = {}; // a burst's memory is given back
}

} // namespace halvane
