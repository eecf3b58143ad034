// Static objects of functions.
//
// Such an object is made once. A thread that comes while another one makes it waits; the library's
// own functions would see one real thread that comes twice. The first byte of the guard says that
// the object is made, the second that a thread makes it.

#include <cstdint>

#include "simulation/races.h"
#include "simulation/scheduler.h"

// The names are the compiler's.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" {

int __cxa_guard_acquire(std::int64_t* guard) {
    auto* const bytes = reinterpret_cast<char*>(guard);
    const vantry::simulation::OutsideHub here;
    while (bytes[0] == 0 && bytes[1] != 0) {
        vantry::simulation::Scheduler::Current().Wait("a static object", guard);
    }
    bytes[1] = static_cast<char>(bytes[0] == 0);
    return bytes[1];
}

void __cxa_guard_release(std::int64_t* guard) {
    auto* const bytes = reinterpret_cast<char*>(guard);
    bytes[0] = 1;
    bytes[1] = 0;
    if (vantry::simulation::Scheduler::Exists()) {
        const vantry::simulation::OutsideHub here;
        vantry::simulation::Release(guard);
        vantry::simulation::Scheduler::Current().Wake(guard);
    }
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
