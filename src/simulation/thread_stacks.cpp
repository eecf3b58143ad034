#include "simulation/thread_stacks.h"

#include <sys/mman.h>

namespace vantry::simulation {

ThreadStacks::ThreadStacks(std::size_t most)
    : size(kBytes * most),
      memory(static_cast<char*>(mmap(nullptr, size, PROT_READ | PROT_WRITE,
                                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))) {}

void* ThreadStacks::Take() {
    if (!unused.empty()) {
        void* const stack = unused.back();
        unused.pop_back();
        return stack;
    }
    if (used == size) {
        return nullptr;
    }
    void* const stack = memory + used;
    used += kBytes;
    // A stack that is too small is then a crash and no damage.
    mprotect(stack, 4096, PROT_NONE);
    return stack;
}

}  // namespace vantry::simulation
