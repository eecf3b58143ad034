#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

#include "runtime/kept_stacks.h"

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

    /// How a thread differs from an ordinary one of the process.
    struct Traits {
        /// What debuggers and `ps` show; 15 bytes of it are used.
        std::string_view name = "vantry";
        /// The nice value of the process plus this is in force before the body runs.
        int niceOffset = 0;
        /// The size of the stack; 0 means the default.
        std::size_t stackBytes = 0;
        /// Where a default stack comes from, unless it is null.
        std::shared_ptr<KeptStacks> stacks = nullptr;
    };

    /// Runs `body` on a new thread. Returns false, with the body destroyed, if the system can't
    /// create one; the caller may try again. Uses nothing of this object once the thread can run,
    /// so the body may pass this object to another thread that destroys it.
    [[nodiscard]] bool Start(std::function<void()> body, const Traits& traits);
    [[nodiscard]] bool Start(std::function<void()> body, std::string_view name = "vantry") {
        return Start(std::move(body), {.name = name});
    }
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
};

}  // namespace vantry
