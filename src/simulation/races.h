#pragma once

#include <cstddef>
#include <cstdint>

namespace vantry::simulation {

// The order in which threads surely do things, and the check of the hub's memory accesses against
// it. All functions are called by the running simulated thread, and do nothing outside the hub's
// code.

/// Notes that what threads did before their Release of `object` comes before what the caller does
/// from now on.
void Acquire(const void* object);
/// Notes that what the caller did so far comes before what follows an Acquire of `object`.
void Release(const void* object);

/// Checks a plain access of the hub. Two accesses to the same bytes, of which one writes and whose
/// order no lock, event or atomic operation decides, fail the run, and so does an access to memory
/// that was freed. `place` is the address of the code.
void NoteAccess(const void* address, std::size_t size, bool writes, const void* place);
/// Forgets what was noted of memory that now belongs to a new object.
void NoteAllocated(const void* address, std::size_t size);
/// Lets every later access to the memory fail.
void NoteFreed(const void* address, std::size_t size);

/// Marks the code of a scope as that of the hub, or not; the accesses of the hub alone are checked.
class CodeOfHub {
public:
    explicit CodeOfHub(bool isHub);
    ~CodeOfHub();
    CodeOfHub(const CodeOfHub&) = delete;
    CodeOfHub& operator=(const CodeOfHub&) = delete;

private:
    bool before;
};

/// Marks the code of a scope as that of the simulation.
struct OutsideHub : CodeOfHub {
    OutsideHub() : CodeOfHub(false) {}
};

/// Calls a function of the hub from code outside it.
template <typename Function>
auto InHub(const Function& function) {
    const CodeOfHub here(true);
    return function();
}

/// Returns whether the running code is the hub's.
bool IsCodeOfHub();

}  // namespace vantry::simulation
