#pragma once

#include <cstdint>
#include <functional>

#include "runtime/condition.h"
#include "runtime/lock.h"

namespace vantry {

/// 32 flag bits, all clear at first, that threads set and wait for. All operations are thread-safe;
/// only the waits block. LiveObjectCounters counts the objects.
///
/// With `autoClear`, a wait that succeeds clears the bits that it waited for (WaitUntil: all bits);
/// without it, bits stay set until Clear. Setting a bit that is set changes nothing, so any number
/// of Set calls before a wait count as one. Time-outs are in milliseconds; 0 tests once and
/// returns. The caller keeps the object alive until every wait has returned; the thread that waited
/// for the last Set may destroy it at once.
class EventFlags {
public:
    using Predicate = std::function<bool(std::uint32_t flags)>;

    explicit EventFlags(bool autoClear);
    virtual ~EventFlags();
    EventFlags(const EventFlags&) = delete;
    EventFlags& operator=(const EventFlags&) = delete;

    /// Waits for any bit of `mask`. Returns all flags as they were when the wait ended, before any
    /// were cleared, or 0 on time-out.
    virtual std::uint32_t WaitAny(std::uint32_t mask, std::uint32_t milliseconds);
    virtual std::uint32_t WaitAny(std::uint32_t mask);
    /// Waits until `predicate` holds for the flags. It is called under the lock, so it must not use
    /// this object. The first form returns false on time-out, the second the flags as WaitAny does.
    /// Nothing in the hub calls WaitUntil and WaitAll; they complete the set of waits.
    virtual bool WaitUntil(const Predicate& predicate, std::uint32_t milliseconds);
    virtual std::uint32_t WaitUntil(const Predicate& predicate);
    /// Waits for all bits of `mask`. The first form returns false on time-out, which clears no bit;
    /// the second returns 1.
    virtual bool WaitAll(std::uint32_t mask, std::uint32_t milliseconds);
    virtual std::uint32_t WaitAll(std::uint32_t mask);
    /// Sets the bits and wakes every waiter; each tests for itself.
    virtual void Set(std::uint32_t mask);
    /// Clears the bits. Wakes nobody.
    virtual void Clear(std::uint32_t mask);

private:
    struct Outcome {
        bool held;
        std::uint32_t flags;
    };

    template <typename Test>
    Outcome Wait(const Test& test, std::uint32_t clearedBits, const std::uint32_t* milliseconds);

    std::uint32_t flags GUARDED_BY(lock) = 0;
    const bool autoClear;
    Mutex lock;
    Condition changed;
};

}  // namespace vantry
