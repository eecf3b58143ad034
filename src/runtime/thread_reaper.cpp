#include "runtime/thread_reaper.h"

#include <utility>

namespace vantry {
namespace {

/// How many retired Threads wait for others at most, and for how long.
constexpr std::size_t kMostWaiting = 5;
constexpr std::uint32_t kMostMilliseconds = 20;

}  // namespace

ThreadReaper::ThreadReaper(std::uint32_t priority)
    : thread(vantry::MakeThread(
          [](void* self) -> std::uint32_t {
              static_cast<ThreadReaper*>(self)->Run();
              return 0;
          },
          priority, 0, "thread-reaper")) {
    ScopedLock guard(lock);
    started = thread->Start(this);
}

ThreadReaper::~ThreadReaper() {
    running = false;
    wake.Set();
    if (started) {
        stopped.Wait();
    }
    thread.reset();
    DestroyRetired(0);
}

void ThreadReaper::Retire(std::unique_ptr<Thread> finished) {
    std::size_t waiting = 0;
    {
        ScopedLock guard(lock);
        retired.push_back(std::move(finished));
        started = started || thread->Start(this);
        waiting = retired.size();
    }
    if (waiting == 1 || waiting == kMostWaiting) {
        wake.Set();
    }
}

void ThreadReaper::Run() {
    bool someAreLeft = false;
    while (running) {
        if (!someAreLeft) {
            wake.Wait();
        }
        const bool isWoken = running && wake.Wait(kMostMilliseconds);
        // The thread of the newest one has woken this one, and is about to end.
        someAreLeft = DestroyRetired(isWoken ? 1 : 0);
    }
    stopped.Set();
}

bool ThreadReaper::DestroyRetired(std::size_t left) {
    std::deque<std::unique_ptr<Thread>> finished;
    ScopedLock guard(lock);
    while (retired.size() > left) {
        finished.push_back(std::move(retired.front()));
        retired.pop_front();
    }
    return !retired.empty();
}

}  // namespace vantry
