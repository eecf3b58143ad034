// Memory that isn't given out again at once.
//
// What is freed is filled with a pattern and kept for a while, so that an access to it meets the
// shadow's mark or at least the pattern, and no new object that happens to stand there.

#include <malloc.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

#include "simulation/races.h"
#include "simulation/scheduler.h"

namespace vantry::simulation {
namespace {

constexpr std::size_t kMostKept = 32U << 20U;

/// Blocks that are kept back, the oldest of them at `first` and the newest before `end`. It needs
/// no constructor, because it is used before any has run.
struct Kept {
    static constexpr std::size_t kPlaces = 1U << 18U;

    void* blocks[kPlaces];
    std::size_t first;
    std::size_t end;
    std::size_t bytes;
    /// Whether this code itself is running: what it allocates isn't kept back.
    bool isBusy;
};

Kept kept;

void* Allocate(std::size_t size, std::size_t alignment = alignof(std::max_align_t)) {
    const std::size_t whole = (size / alignment + 1) * alignment;
    void* const block = std::aligned_alloc(alignment, whole);
    if (block == nullptr) {
        std::abort();
    }
    if (Scheduler::Exists() && !kept.isBusy) {
        kept.isBusy = true;
        NoteAllocated(block, malloc_usable_size(block));
        kept.isBusy = false;
    }
    return block;
}

void GiveBack(void* block) {
    if (block == nullptr) {
        return;
    }
    if (!Scheduler::Exists() || kept.isBusy) {
        std::free(block);
        return;
    }
    kept.isBusy = true;
    const std::size_t size = malloc_usable_size(block);
    NoteFreed(block, size);
    std::memset(block, 0xDD, size);
    kept.blocks[kept.end++ % Kept::kPlaces] = block;
    kept.bytes += size;
    while (kept.bytes > kMostKept || kept.end - kept.first == Kept::kPlaces) {
        void* const oldest = kept.blocks[kept.first++ % Kept::kPlaces];
        const std::size_t bytes = malloc_usable_size(oldest);
        kept.bytes -= bytes;
        // The library's own functions may get it now.
        NoteAllocated(oldest, bytes);
        std::free(oldest);
    }
    kept.isBusy = false;
}

}  // namespace
}  // namespace vantry::simulation

void* operator new(std::size_t size) { return vantry::simulation::Allocate(size); }
void* operator new[](std::size_t size) { return vantry::simulation::Allocate(size); }
void* operator new(std::size_t size, std::align_val_t alignment) {
    return vantry::simulation::Allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return vantry::simulation::Allocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* block, std::align_val_t) noexcept {
    vantry::simulation::GiveBack(block);
}
void operator delete[](void* block, std::align_val_t) noexcept {
    vantry::simulation::GiveBack(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    vantry::simulation::GiveBack(block);
}
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept {
    vantry::simulation::GiveBack(block);
}
void operator delete(void* block) noexcept { vantry::simulation::GiveBack(block); }
void operator delete[](void* block) noexcept { vantry::simulation::GiveBack(block); }
void operator delete(void* block, std::size_t) noexcept { vantry::simulation::GiveBack(block); }
void operator delete[](void* block, std::size_t) noexcept { vantry::simulation::GiveBack(block); }
