#pragma once

#include <pthread.h>
#include <signal.h>

#include <functional>
#include <utility>

#include "runtime/native_thread.h"

namespace vantry::client {

/// A thread that takes no signals, so that the handlers of the program run on its own threads.
class QuietThread {
public:
    /// False if the system has no thread to give.
    [[nodiscard]] bool Start(std::function<void()> body) {
        sigset_t all;
        sigset_t before;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
        const bool started = thread.Start(std::move(body));
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        return started;
    }
    [[nodiscard]] bool WaitForEnd(std::uint32_t milliseconds) const {
        return thread.WaitForEnd(milliseconds);
    }
    void Join() { thread.Join(); }

private:
    NativeThread thread;
};

}  // namespace vantry::client
