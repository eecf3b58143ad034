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

/// A thread that runs jobs in the order in which they were posted: the handlers and callbacks of a
/// program run on one, so that the thread which receives never waits for them. Any thread may call
/// the operations, except where they say so.
class Worker {
public:
    using Job = std::function<void()>;

    Worker() = default;
    ~Worker() { Stop(); }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Starts the thread. Every `interval` milliseconds it also runs `regularJob`; never if that is
    /// 0. False if the system has no thread to give.
    [[nodiscard]] bool Start(std::uint32_t interval = 0, Job regularJob = {});
    /// Adds a job. Jobs posted after Stop are dropped.
    void Post(Job job);
    /// Adds a job, but first waits while `most` jobs or more wait. Not to be called by a job.
    void PostWithin(std::size_t most, Job job);
    /// Waits for the job that is running, and drops those that wait. Not to be called by a job.
    void Stop();
    /// Returns true on the thread of the jobs.
    bool IsMine() const;

private:
    void Run();
    std::optional<Job> Next();

    std::uint32_t regularInterval = 0;
    Job regular;
    Lock lock;
    std::deque<Job> jobs GUARDED_BY(lock);
    bool stopping GUARDED_BY(lock) = false;
    std::atomic<std::uintptr_t> self{0};
    Event posted{true};
    Event taken{true};
    QuietThread thread;
};

}  // namespace vantry::client
