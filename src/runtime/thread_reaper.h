#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string_view>

#include "runtime/event.h"
#include "runtime/lock.h"
#include "runtime/thread.h"

namespace vantry {

/// Destroys the Thread objects of threads that nobody waits for.
///
/// A thread can't destroy its own Thread, because that waits for the thread to end. It retires it
/// here as one of its last actions, and a background thread destroys it. It does so a moment later
/// and for several at once, so that it is rarely woken and most of the threads have ended by then.
/// If the system can't create that background thread, each Retire tries again; until it runs,
/// retired Threads are kept, and the destructor destroys those that are left.
class ThreadReaper {
public:
    /// Starts the background thread with this priority.
    explicit ThreadReaper(std::uint32_t priority);
    /// Destroys all retired Threads, and blocks until their threads have ended or were ended by
    /// force. No thread may call Retire from then on.
    ~ThreadReaper();
    ThreadReaper(const ThreadReaper&) = delete;
    ThreadReaper& operator=(const ThreadReaper&) = delete;

    /// Returns a new Thread with the default stack, which the caller owns; see vantry::MakeThread.
    /// The Threads of one reaper use each other's stacks.
    std::unique_ptr<Thread> MakeThread(ThreadEntry entry, std::uint32_t priority,
                                       std::string_view name = "vantry") {
        return vantry::MakeThread(entry, priority, 0, name, stacks);
    }

    /// Becomes the owner of a Thread whose entry is about to return. Any thread may call it; it
    /// doesn't block.
    void Retire(std::unique_ptr<Thread> thread);

private:
    void Run();
    /// Destroys all retired Threads but the newest ones, of which `left` stay. Returns whether some
    /// are left.
    bool DestroyRetired(std::size_t left);

    const std::shared_ptr<KeptStacks> stacks = std::make_shared<KeptStacks>();
    std::atomic<bool> running{true};
    std::unique_ptr<Thread> thread;
    /// Guards the list of retired Threads and the start of the background thread.
    Mutex lock;
    bool started GUARDED_BY(lock) = false;
    std::deque<std::unique_ptr<Thread>> retired GUARDED_BY(lock);
    Event wake{true};
    Event stopped{true};
};

}  // namespace vantry
