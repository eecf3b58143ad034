#pragma once

#include <cstddef>

namespace vantry {

/// What the calling thread has taken from `operator new` since it began, and what of it is left.
/// A program that uses this gets counting versions of `operator new` and `operator delete`.
struct Allocations {
    std::size_t count = 0;
    /// What this thread took less what it gave back. Memory that another thread took and this one
    /// gives back makes it too small, so only compare it around work of one thread.
    std::size_t bytes = 0;
    std::size_t mostBytes = 0;
};

Allocations AllocationsOfThisThread();
/// Makes `mostBytes` start again from what is held now.
void ForgetMostBytes();

}  // namespace vantry
