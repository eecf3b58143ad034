// The functions that the compiler calls for the hub's memory accesses.
//
// The hub's sources are compiled for the simulation as for the thread sanitizer, which turns each
// memory access and each atomic operation into a call; the program isn't linked with the
// sanitizer's library, and these functions take its place. An atomic operation is a point where
// another thread may go on, and orders what its threads do; a relaxed one is a point only. A plain
// access is checked. Atomic variables that share 8 bytes count as one, because the counts of a
// shared pointer are read together.

#include <cstddef>
#include <cstdint>

#include "simulation/races.h"
#include "simulation/scheduler.h"

namespace vantry::simulation {
namespace {

const void* CellOf(const volatile void* address) {
    return reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(address) &
                                         ~std::uintptr_t{7});
}

/// Stands around an atomic operation.
class AtomicOperation {
public:
    AtomicOperation(const volatile void* address, int order)
        : cell(CellOf(address)), passesOn(order != __ATOMIC_RELAXED), isHub(IsCodeOfHub()) {
        if (isHub) {
            const OutsideHub here;
            Scheduler::Current().QuietPoint();
            if (passesOn) {
                Acquire(cell);
            }
        }
    }
    ~AtomicOperation() {
        if (isHub && passesOn) {
            Release(cell);
        }
    }
    AtomicOperation(const AtomicOperation&) = delete;
    AtomicOperation& operator=(const AtomicOperation&) = delete;

private:
    const void* const cell;
    const bool passesOn;
    const bool isHub;
};

}  // namespace
}  // namespace vantry::simulation

using vantry::simulation::AtomicOperation;
using vantry::simulation::NoteAccess;

// The names are the compiler's.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" {

void __tsan_init() {}
void __tsan_func_entry(void*) {}
void __tsan_func_exit() {}
void __tsan_atomic_thread_fence(int) {}
void __tsan_atomic_signal_fence(int) {}

void __tsan_read_range(void* address, std::size_t size) {
    NoteAccess(address, size, false, __builtin_return_address(0));
}
void __tsan_write_range(void* address, std::size_t size) {
    NoteAccess(address, size, true, __builtin_return_address(0));
}
void __tsan_vptr_read(void** address) {
    NoteAccess(address, sizeof *address, false, __builtin_return_address(0));
}
void __tsan_vptr_update(void** address, void* table) {
    if (*address != table) {
        NoteAccess(address, sizeof *address, true, __builtin_return_address(0));
    }
}

#define VANTRY_ACCESS(size)                                            \
    void __tsan_read##size(void* address) {                            \
        NoteAccess(address, size, false, __builtin_return_address(0)); \
    }                                                                  \
    void __tsan_write##size(void* address) {                           \
        NoteAccess(address, size, true, __builtin_return_address(0));  \
    }                                                                  \
    void __tsan_unaligned_read##size(void* address) {                  \
        NoteAccess(address, size, false, __builtin_return_address(0)); \
    }                                                                  \
    void __tsan_unaligned_write##size(void* address) {                 \
        NoteAccess(address, size, true, __builtin_return_address(0));  \
    }
VANTRY_ACCESS(1)
VANTRY_ACCESS(2)
VANTRY_ACCESS(4)
VANTRY_ACCESS(8)
VANTRY_ACCESS(16)
#undef VANTRY_ACCESS

#define VANTRY_CHANGE(bits, name)                                                            \
    std::uint##bits##_t __tsan_atomic##bits##_##name(volatile std::uint##bits##_t* address,  \
                                                     std::uint##bits##_t value, int order) { \
        const AtomicOperation here(address, order);                                          \
        return __atomic_##name(address, value, __ATOMIC_SEQ_CST);                            \
    }
#define VANTRY_EXCHANGE(bits, strength, weak)                                                \
    bool __tsan_atomic##bits##_compare_exchange_##strength(                                  \
        volatile std::uint##bits##_t* address, std::uint##bits##_t* expected,                \
        std::uint##bits##_t value, int order, int) {                                         \
        const AtomicOperation here(address, order);                                          \
        return __atomic_compare_exchange_n(address, expected, value, weak, __ATOMIC_SEQ_CST, \
                                           __ATOMIC_SEQ_CST);                                \
    }
// What clang calls: it returns the value that was there.
#define VANTRY_EXCHANGE_VALUE(bits)                                                     \
    std::uint##bits##_t __tsan_atomic##bits##_compare_exchange_val(                     \
        volatile std::uint##bits##_t* address, std::uint##bits##_t expected,            \
        std::uint##bits##_t value, int order, int) {                                    \
        const AtomicOperation here(address, order);                                     \
        __atomic_compare_exchange_n(address, &expected, value, false, __ATOMIC_SEQ_CST, \
                                    __ATOMIC_SEQ_CST);                                  \
        return expected;                                                                \
    }
#define VANTRY_ATOMIC(bits)                                                                     \
    std::uint##bits##_t __tsan_atomic##bits##_load(const volatile std::uint##bits##_t* address, \
                                                   int order) {                                 \
        const AtomicOperation here(address, order);                                             \
        return __atomic_load_n(address, __ATOMIC_SEQ_CST);                                      \
    }                                                                                           \
    void __tsan_atomic##bits##_store(volatile std::uint##bits##_t* address,                     \
                                     std::uint##bits##_t value, int order) {                    \
        const AtomicOperation here(address, order);                                             \
        __atomic_store_n(address, value, __ATOMIC_SEQ_CST);                                     \
    }                                                                                           \
    std::uint##bits##_t __tsan_atomic##bits##_exchange(volatile std::uint##bits##_t* address,   \
                                                       std::uint##bits##_t value, int order) {  \
        const AtomicOperation here(address, order);                                             \
        return __atomic_exchange_n(address, value, __ATOMIC_SEQ_CST);                           \
    }                                                                                           \
    VANTRY_CHANGE(bits, fetch_add)                                                              \
    VANTRY_CHANGE(bits, fetch_sub)                                                              \
    VANTRY_CHANGE(bits, fetch_and)                                                              \
    VANTRY_CHANGE(bits, fetch_or)                                                               \
    VANTRY_CHANGE(bits, fetch_xor)                                                              \
    VANTRY_EXCHANGE(bits, strong, false)                                                        \
    VANTRY_EXCHANGE(bits, weak, true)                                                           \
    VANTRY_EXCHANGE_VALUE(bits)
VANTRY_ATOMIC(8)
VANTRY_ATOMIC(16)
VANTRY_ATOMIC(32)
VANTRY_ATOMIC(64)
#undef VANTRY_CHANGE
#undef VANTRY_EXCHANGE
#undef VANTRY_EXCHANGE_VALUE
#undef VANTRY_ATOMIC
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
