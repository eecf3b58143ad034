#include "runtime/kept_stacks.h"

#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

namespace vantry {
namespace {

/// Sessions that follow each other closely have about ten threads at a time that have ended and
/// weren't joined yet. A stack keeps the memory that its threads have touched: 20 KiB as a rule,
/// and 40 after a peer that sent much at once. No thread of the hub needs more for a longer input.
constexpr std::size_t kMostKept = 16;

std::size_t DefaultBytes() {
    std::size_t bytes = 0;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_getstacksize(&attributes, &bytes);
    pthread_attr_destroy(&attributes);
    return bytes;
}

}  // namespace

KeptStacks::KeptStacks()
    : guardBytes(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))), bytes(DefaultBytes()) {
    kept.reserve(kMostKept);
}

KeptStacks::~KeptStacks() {
    for (void* const stack : kept) {
        Unmap(stack);
    }
}

void* KeptStacks::Take() {
    {
        ScopedLock guard(lock);
        if (!kept.empty()) {
            // The newest one is the likeliest to be in a cache.
            void* const stack = kept.back();
            kept.pop_back();
            return stack;
        }
    }
    void* const mapped = mmap(nullptr, guardBytes + bytes, PROT_NONE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK | MAP_NORESERVE, -1, 0);
    if (mapped == MAP_FAILED) {
        return nullptr;
    }
    void* const stack = static_cast<std::byte*>(mapped) + guardBytes;
    if (mprotect(stack, bytes, PROT_READ | PROT_WRITE) != 0) {
        Unmap(stack);
        return nullptr;
    }
    return stack;
}

void KeptStacks::GiveBack(void* stack) {
    {
        ScopedLock guard(lock);
        if (kept.size() < kMostKept) {
            kept.push_back(stack);
            return;
        }
    }
    Unmap(stack);
}

void KeptStacks::Unmap(void* stack) const {
    munmap(static_cast<std::byte*>(stack) - guardBytes, guardBytes + bytes);
}

}  // namespace vantry
