#include "foundation/logger/LogLines.h"

#include <algorithm>
#include <utility>

namespace halvane {
namespace {

constexpr std::string_view kEnd = "\r\n";

} // namespace

void LogLines::Add(std::initializer_list<std::string_view> parts) {
    std::size_t size = kEnd.size();
    for (const std::string_view part : parts)
        size += part.size();
    if (blocks_.empty() || blocks_.back().capacity() - blocks_.back().size() < size) {
        std::string block;
        block.reserve(std::max(size, kBlock));
        blocks_.push_back(std::move(block));
    }
    sizes_.push_back(size);
    for (const std::string_view part : parts)
        blocks_.back().append(part);
    blocks_.back().append(kEnd);
}

void LogLines::Clear() {
    constexpr std::size_t kMostKept = 2 * kBlock; // a burst's memory is given back
    if (blocks_.size() > 1) blocks_.resize(1);
    if (!blocks_.empty()) blocks_.front().clear();
    if (!blocks_.empty() && blocks_.front().capacity() > kMostKept) blocks_.clear();
    sizes_.clear();
    if (sizes_.capacity() > kBlock) sizes_ = {};
}

} // namespace halvane
