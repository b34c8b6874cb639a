#include "tests/foundation/ScarceMemory.h"

#include <cstdlib>
#include <new>

namespace halvane {

thread_local int allocationsLeft = kUnlimited;

} // namespace halvane

void* operator new(std::size_t size) {
    int& left = halvane::allocationsLeft;
    void* const block = left == 0 ? nullptr : std::malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    if (left > 0) --left;
    return block;
}

void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
