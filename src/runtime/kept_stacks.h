#pragma once

#include <cstddef>
#include <vector>

#include "runtime/lock.h"

namespace vantry {

/// Stacks of the system's default size for threads that come and go.
///
/// It keeps some stacks of ended threads with the memory that they have, so that the next thread
/// neither maps a stack nor faults its pages in; the C library would give that memory back when a
/// thread ends. All operations are thread-safe; none waits for another thread for long.
class KeptStacks {
public:
    KeptStacks();
    /// Unmaps the stacks that it keeps. Stacks that were taken stay.
    ~KeptStacks();
    KeptStacks(const KeptStacks&) = delete;
    KeptStacks& operator=(const KeptStacks&) = delete;

    /// Returns the lowest address of a stack of Bytes() bytes with a guard page below, which the
    /// caller gives back after its thread has been joined; that of a thread which is never joined
    /// stays mapped. Returns null if there is no memory.
    [[nodiscard]] void* Take();
    void GiveBack(void* stack);
    std::size_t Bytes() const { return bytes; }

private:
    void Unmap(void* stack) const;

    const std::size_t guardBytes;
    const std::size_t bytes;
    Mutex lock;
    std::vector<void*> kept GUARDED_BY(lock);
};

}  // namespace vantry
