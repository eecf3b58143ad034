#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>

#include "runtime/event.h"
#include "runtime/lock.h"
#include "runtime/thread.h"

namespace vantry {

/// Destroys the Thread objects of threads that nobody waits for.
///
/// A thread can't destroy its own Thread, because that waits for the thread; it retires it here
/// as one of its last acts and a background thread does the rest. Destroying the reaper destroys
/// whatever is still retired.
class ThreadReaper {
public:
    /// Starts the reaper's own thread.
    explicit ThreadReaper(std::uint32_t priority);
    ~ThreadReaper();
    ThreadReaper(const ThreadReaper&) = delete;
    ThreadReaper& operator=(const ThreadReaper&) = delete;

    /// Makes a thread of the hub; see MakeThread. The Thread belongs to the caller.
    std::unique_ptr<Thread> MakeThread(ThreadEntry entry, std::uint32_t priority) {
        return vantry::MakeThread(entry, priority, 0);
    }

    /// Takes over a Thread whose entry is about to return. Any thread may call it.
    void Retire(std::unique_ptr<Thread> thread);

private:
    void Run();
    void DestroyRetired();

    std::atomic<bool> running{true};
    std::unique_ptr<Thread> thread;
    Lock lock;
    std::deque<std::unique_ptr<Thread>> retired GUARDED_BY(lock);
    Event wake{true};
    Event stopped{true};
};

}  // namespace vantry
