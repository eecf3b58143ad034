#include "support/allocations.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace vantry {
static thread_local Allocations allocations;

Allocations AllocationsOfThisThread() { return allocations; }

void ForgetMostBytes() { allocations.mostBytes = allocations.bytes; }

}  // namespace vantry

void* operator new(std::size_t size) {
    void* const block = std::malloc(size);
    if (block == nullptr) {
        std::abort();
    }
    vantry::Allocations& allocations = vantry::allocations;
    ++allocations.count;
    allocations.bytes += malloc_usable_size(block);
    allocations.mostBytes = std::max(allocations.mostBytes, allocations.bytes);
    return block;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return operator new(size); }

void operator delete(void* block) noexcept {
    vantry::allocations.bytes -= malloc_usable_size(block);
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept { operator delete(block); }

void operator delete(void* block, const std::nothrow_t&) noexcept { operator delete(block); }
