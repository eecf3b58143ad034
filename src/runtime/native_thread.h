#pragma once

#include <pthread.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace vantry {

/// One thread of the operating system, with a bounded wait for its end and an end by force.
///
/// This is the ground under Thread, and what code outside the hub's own accounting uses. One
/// owner at a time calls its operations; the body runs with cancellation off (see Interruptible).
class NativeThread {
public:
    NativeThread() = default;
    /// Waits for the thread, however long it takes, unless it was joined or terminated before.
    ~NativeThread();
    NativeThread(const NativeThread&) = delete;
    NativeThread& operator=(const NativeThread&) = delete;

    /// Makes a thread for `body` that waits for Resume, with the nice value of the process plus
    /// `niceOffset` in force before the first instruction of `body`. `stackBytes` 0 means the
    /// default stack. False if the system has no thread to give.
    [[nodiscard]] bool StartSuspended(std::function<void()> body, int niceOffset = 0,
                                      std::size_t stackBytes = 0);
    /// Lets the thread run. Touches nothing of this object once the thread can run, so the body
    /// may hand this object to whoever destroys it.
    void Resume();
    /// StartSuspended and Resume in one.
    [[nodiscard]] bool Start(std::function<void()> body);
    /// Changes the nice offset of the thread, running or not yet. False if the system refuses.
    bool SetNiceOffset(int niceOffset);
    /// Waits for the body to end; false if it hasn't within the time.
    [[nodiscard]] bool WaitForEnd(std::uint32_t milliseconds) const;
    /// Waits for the thread's end without a bound.
    void Join();
    /// Ends the thread: at once if its body has returned, by cancellation if it blocks where it
    /// is Interruptible, and by abandoning it if it ignores that. Never blocks for long.
    void Terminate();

private:
    struct State;
    static void* Run(void* argument);

    std::shared_ptr<State> state;
    pthread_t handle{};
};

}  // namespace vantry
