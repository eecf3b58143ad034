#pragma once

#include <cstdint>
#include <memory>

namespace vantry {

/// What a thread runs: one pointer in, one number out that nobody looks at.
using ThreadEntry = std::uint32_t (*)(void* argument);

/// A thread of the hub: made first, started later, its priority in force before it runs.
///
/// Nothing here tells that the entry has returned. A thread that its owner waits for sets an
/// Event as its last act; one that nobody can wait for hands its Thread to the ThreadReaper. A
/// Thread must not be destroyed by its own thread. One owner at a time calls its operations.
class Thread {
public:
    /// Stops the thread.
    virtual ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Runs the entry with `argument`. A second call does nothing. False if the system has no
    /// thread to give; the Thread then stays not started.
    virtual bool Start(void* argument) = 0;
    /// Sets the priority, on a scale of 0 to 255 with the smaller number first. False if the
    /// system refuses, which leaves the old one.
    virtual bool SetPriority(std::uint32_t priority) = 0;
    /// Waits 500 ms for the entry to return, then ends the thread by force. Does nothing for a
    /// thread that isn't started.
    virtual void Stop() = 0;

protected:
    Thread();
};

/// A new Thread that doesn't run yet. `reserveStack` is the size of its stack in bytes, 0 for the
/// platform's default.
std::unique_ptr<Thread> MakeThread(ThreadEntry entry, std::uint32_t priority,
                                   std::uint8_t reserveStack);

}  // namespace vantry
