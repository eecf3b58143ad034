#pragma once

#include <pthread.h>
#include <signal.h>

namespace vantry {

/// Blocks all signals for the calling thread while it lives. A thread that is created meanwhile
/// keeps them blocked, so that signal handlers of the program run on the program's own threads.
class ScopedBlockedSignals {
public:
    ScopedBlockedSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
    }
    ~ScopedBlockedSignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    ScopedBlockedSignals(const ScopedBlockedSignals&) = delete;
    ScopedBlockedSignals& operator=(const ScopedBlockedSignals&) = delete;

private:
    sigset_t before;
};

}  // namespace vantry
