#pragma once

#include <pthread.h>
#include <signal.h>

#include <functional>
#include <utility>

#include "runtime/native_thread.h"

namespace vantry::client {

/// A thread with all signals blocked, so that signal handlers of the program run on threads of the
/// program. One thread at a time calls the operations.
class QuietThread {
public:
    /// Starts a thread that runs `body`. Returns false if the system can't create a thread.
    [[nodiscard]] bool Start(std::function<void()> body) {
        sigset_t all;
        sigset_t before;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
        const bool started = thread.Start(std::move(body));
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        return started;
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
