#pragma once

#include <cstddef>

namespace vantry {

/// Counts what the calling thread allocated with `operator new` since it began.
/// A program that links this uses counting versions of `operator new` and `operator delete`.
struct Allocations {
    std::size_t count = 0;
    /// The bytes that this thread allocated less those that it freed. Freeing memory of another
    /// thread makes it too small, so only compare it around work of one thread.
    std::size_t bytes = 0;
    /// The greatest value of `bytes` so far.
    std::size_t mostBytes = 0;
};

Allocations AllocationsOfThisThread();
/// Sets `mostBytes` of this thread to its `bytes`.
void ForgetMostBytes();

}  // namespace vantry
