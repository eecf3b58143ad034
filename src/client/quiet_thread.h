#pragma once

#include <functional>
#include <utility>

#include "runtime/blocked_signals.h"
#include "runtime/native_thread.h"

namespace vantry::client {

/// A thread with all signals blocked, so that signal handlers of the program run on threads of the
/// program. One thread at a time calls the operations.
class QuietThread {
public:
    /// Starts a thread that runs `body`. Returns false if the system can't create a thread.
    [[nodiscard]] bool Start(std::function<void()> body) {
        const ScopedBlockedSignals blocked;
        return thread.Start(std::move(body));
    }
    /// See NativeThread.
    [[nodiscard]] bool WaitForEnd(std::uint32_t milliseconds) const {
        return thread.WaitForEnd(milliseconds);
    }
    void Join() { thread.Join(); }

private:
    NativeThread thread;
};

}  // namespace vantry::client
