#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "runtime/kept_stacks.h"

namespace vantry {

/// The function that a thread runs. Nothing uses its result.
using ThreadEntry = std::uint32_t (*)(void* argument);

/// A thread of the hub. LiveObjectCounters counts the objects, started or not.
///
/// Nothing reports that the entry has returned. A thread whose end somebody waits for sets an Event
/// as its last action; a thread that nobody waits for passes its Thread to the ThreadReaper. A
/// thread must not destroy its own Thread. One thread at a time calls the operations.
class Thread {
public:
    /// Calls Stop.
    virtual ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Starts the thread, which calls the entry with `argument`; its priority is in force before
    /// that. Returns true without any effect if the thread was started before. Returns false if the
    /// system can't create a thread; the Thread then stays not started and Start may be tried
    /// again. Uses nothing of this object once the entry can run.
    [[nodiscard]] virtual bool Start(void* argument) = 0;
    /// Sets the priority, on a scale of 0 to 255 with the smaller number first. Returns false if
    /// the system refuses, and the old priority stays. Nothing in the hub calls it: priorities are
    /// given to MakeThread.
    virtual bool SetPriority(std::uint32_t priority) = 0;
    /// Waits up to 500 ms for the entry to return, then ends the thread by force (see
    /// NativeThread::Terminate). Does nothing if the thread isn't running.
    virtual void Stop() = 0;

protected:
    Thread();
};

/// Returns a new Thread that isn't started. `reserveStack` is the size of its stack in bytes, 0 for
/// the default of the system. `name` is what debuggers and `ps` show; 15 bytes of it are used. A
/// default stack comes from `stacks`, unless that is null.
std::unique_ptr<Thread> MakeThread(ThreadEntry entry, std::uint32_t priority,
                                   std::uint8_t reserveStack, std::string_view name = "vantry",
                                   std::shared_ptr<KeptStacks> stacks = nullptr);

}  // namespace vantry
