#pragma once

#include <cstddef>
#include <vector>

namespace vantry::simulation {

/// The memory of the simulated threads' stacks. It is one range of addresses, so that an address
/// can be recognised as one of a stack.
class ThreadStacks {
public:
    static constexpr std::size_t kBytes = 512U << 10U;

    /// Reserves addresses for `most` stacks. They need memory when they are used.
    explicit ThreadStacks(std::size_t most);

    /// Returns the lowest address of a stack of kBytes, or null if all are in use. It is never
    /// unmapped, because threads of the hub may still be on one when the process ends.
    void* Take();
    /// Lets Take return the stack again. The caller may still be on it until the next thread runs.
    void GiveBack(void* stack) { unused.push_back(stack); }
    bool Contains(const void* address) const {
        return address >= memory && address < memory + size;
    }

private:
    const std::size_t size;
    char* const memory;
    std::size_t used = 0;
    std::vector<void*> unused;
};

}  // namespace vantry::simulation
