#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>

#include "client/quiet_thread.h"
#include "runtime/event.h"
#include "runtime/lock.h"

namespace vantry::client {

/// A thread that runs jobs in the order in which they were posted. The handlers and callbacks of a
/// program run on workers, so that the threads that receive don't wait for them. The operations are
/// thread-safe, with the exceptions that they state.
class Worker {
public:
    using Job = std::function<void()>;

    Worker() = default;
    ~Worker() { Stop(); }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Starts the thread, which also runs `regularJob` every `interval` milliseconds, or never if
    /// that is 0. Returns false if the system can't create a thread; jobs then wait until Stop
    /// drops them.
    [[nodiscard]] bool Start(std::uint32_t interval = 0, Job regularJob = {});
    /// Adds a job without blocking. Jobs posted after Stop are dropped.
    void Post(Job job);
    /// Blocks while `most` jobs or more are queued, and then adds a job. Must not be called by a
    /// job.
    void PostWithin(std::size_t most, Job job);
    /// Blocks until a running job has returned, and drops the queued ones. Threads that wait in
    /// PostWithin return. A further call, such as that of the destructor, does nothing. Must not be
    /// called by a job, nor by two threads at once.
    void Stop();
    /// Returns true on the thread of the jobs.
    [[nodiscard]] bool IsMine() const;

private:
    void Run();
    std::optional<Job> Next();

    std::uint32_t regularInterval = 0;
    Job regular;
    Mutex lock;
    std::deque<Job> jobs GUARDED_BY(lock);
    bool stopping GUARDED_BY(lock) = false;
    std::atomic<std::uintptr_t> self{0};
    Event posted{true};
    Event taken{true};
    QuietThread thread;
};

}  // namespace vantry::client
