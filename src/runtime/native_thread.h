#pragma once

#include <pthread.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

namespace vantry {

/// One thread of the operating system that its owner can wait for with a time-out and end by force.
///
/// Thread is implemented with this class. Code whose threads must not count in LiveObjectCounters
/// (platform, host, client library) uses it directly. One thread at a time calls its operations.
/// The body runs with cancellation disabled (see Interruptible); the object owns it, and what it
/// captured is destroyed on the new thread when it returns.
class NativeThread {
public:
    NativeThread() = default;
    /// Blocks until the thread has ended, unless it was joined or terminated before.
    ~NativeThread();
    NativeThread(const NativeThread&) = delete;
    NativeThread& operator=(const NativeThread&) = delete;

    /// Creates a thread for `body` that blocks until Resume. `name` is what debuggers and `ps`
    /// show; 15 bytes of it are used. The nice value of the process plus `niceOffset` is in force
    /// before the body runs. `stackBytes` 0 means the default stack. Returns false, with no thread
    /// created and the body destroyed, if the system can't create one; the caller may try again.
    [[nodiscard]] bool StartSuspended(std::function<void()> body, std::string_view name = "vantry",
                                      int niceOffset = 0, std::size_t stackBytes = 0);
    /// Lets the thread run. Uses nothing of this object once the thread can run, so the body may
    /// pass this object to another thread that destroys it.
    void Resume();
    /// Does StartSuspended and Resume in one.
    [[nodiscard]] bool Start(std::function<void()> body, std::string_view name = "vantry");
    /// Changes the nice offset of the thread, now or when it starts to run. Returns false if the
    /// system refuses. Does nothing and returns true if there is no thread.
    bool SetNiceOffset(int niceOffset);
    /// Blocks until the body has ended or the time has passed. Returns whether it has ended, which
    /// is true if there is no thread.
    [[nodiscard]] bool WaitForEnd(std::uint32_t milliseconds) const;
    /// Blocks until the thread has ended, without a time limit.
    void Join();
    /// Ends the thread. It joins a thread whose body has ended, cancels one that blocks where it is
    /// Interruptible, and abandons one that hasn't ended 200 ms later. Blocks no longer than that.
    void Terminate();

private:
    struct State;
    static void* Run(void* argument);

    std::shared_ptr<State> state;
    pthread_t handle{};
};

}  // namespace vantry
