#include "runtime/thread_reaper.h"

#include <utility>

namespace vantry {

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
    DestroyRetired();
}

void ThreadReaper::Retire(std::unique_ptr<Thread> finished) {
    {
        ScopedLock guard(lock);
        retired.push_back(std::move(finished));
        started = started || thread->Start(this);
    }
    wake.Set();
}

void ThreadReaper::Run() {
    while (running) {
        wake.Wait();
        DestroyRetired();
    }
    stopped.Set();
}

void ThreadReaper::DestroyRetired() {
    std::deque<std::unique_ptr<Thread>> finished;
    {
        ScopedLock guard(lock);
        finished.swap(retired);
    }
}

}  // namespace vantry
