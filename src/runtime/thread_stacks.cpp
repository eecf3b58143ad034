#include "runtime/thread_stacks.h"

#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

namespace vantry {
namespace {

/// Sessions that follow each other closely have about ten threads at a time that have ended and
/// weren't joined yet. Each stack keeps 16 to 20 KiB.
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

ThreadStacks::ThreadStacks()
    : guardBytes(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))), bytes(DefaultBytes()) {
    kept.reserve(kMostKept);
}

ThreadStacks::~ThreadStacks() {
    for (void* const stack : kept) {
        Unmap(stack);
    }
}

void* ThreadStacks::Take() {
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

void ThreadStacks::GiveBack(void* stack) {
    {
        ScopedLock guard(lock);
        if (kept.size() < kMostKept) {
            kept.push_back(stack);
            return;
        }
    }
    Unmap(stack);
}

void ThreadStacks::Unmap(void* stack) const {
    munmap(static_cast<std::byte*>(stack) - guardBytes, guardBytes + bytes);
}

}  // namespace vantry
