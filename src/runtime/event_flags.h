#pragma once

#include <pthread.h>

#include <cstdint>
#include <functional>

#include "runtime/lock.h"

namespace vantry {

/// 32 flag bits that threads set and wait for.
///
/// With `autoClear`, a wait that ends with success takes the bits that it waited for (WaitUntil:
/// all bits); without it, bits stay until Clear. Setting a set bit again changes nothing, so any
/// number of Set calls before a wait count as one. All operations may be called by any thread.
/// Time-outs are in milliseconds; 0 tests once and returns.
class EventFlags {
public:
    using Predicate = std::function<bool(std::uint32_t flags)>;

    explicit EventFlags(bool autoClear);
    virtual ~EventFlags();
    EventFlags(const EventFlags&) = delete;
    EventFlags& operator=(const EventFlags&) = delete;

    /// Waits for any bit of `mask`. The flags as they were when the wait ended, all of them and
    /// before any clearing; 0 on time-out.
    virtual std::uint32_t WaitAny(std::uint32_t mask, std::uint32_t milliseconds);
    virtual std::uint32_t WaitAny(std::uint32_t mask);
    /// Waits until `predicate`, which is called under the lock, holds for the flags.
    virtual bool WaitUntil(const Predicate& predicate, std::uint32_t milliseconds);
    virtual std::uint32_t WaitUntil(const Predicate& predicate);
    /// Waits for all bits of `mask`. False on time-out, which leaves the bits as they are.
    virtual bool WaitAll(std::uint32_t mask, std::uint32_t milliseconds);
    virtual std::uint32_t WaitAll(std::uint32_t mask);
    /// Sets the bits and wakes every waiter; each tests for itself.
    virtual void Set(std::uint32_t mask);
    virtual void Clear(std::uint32_t mask);

private:
    struct Outcome {
        bool held;
        std::uint32_t flags;
    };

    template <typename Test>
    Outcome Wait(const Test& test, std::uint32_t clearedBits, const std::uint32_t* milliseconds);
    void Sleep() REQUIRES(lock);
    void SleepUntil(std::uint64_t deadline) REQUIRES(lock);

    std::uint32_t flags GUARDED_BY(lock) = 0;
    const bool autoClear;
    Lock lock;
    pthread_cond_t condition;
};

}  // namespace vantry
