// A queue of jobs and one thread. The thread sleeps until a job is posted or the regular job is
// due; `taken` wakes a thread that waits in PostWithin for space in the queue. An empty job, which
// Next returns after Stop, ends the thread. A job never runs while the lock is held.

#include "client/worker.h"

#include <limits>
#include <utility>

#include "client/deadline.h"

namespace vantry::client {
namespace {

/// Returns a number that identifies the calling thread.
std::uintptr_t ThisThread() {
    static thread_local const char place = 0;
    return reinterpret_cast<std::uintptr_t>(&place);
}

}  // namespace

bool Worker::Start(std::uint32_t interval, Job regularJob) {
    regularInterval = interval;
    regular = std::move(regularJob);
    return thread.Start([this] { Run(); });
}

void Worker::Post(Job job) {
    {
        ScopedLock guard(lock);
        if (stopping) {
            return;
        }
        jobs.push_back(std::move(job));
    }
    posted.Set();
}

void Worker::PostWithin(std::size_t most, Job job) {
    for (;;) {
        {
            ScopedLock guard(lock);
            if (stopping || jobs.size() < most) {
                break;
            }
        }
        taken.Wait();
    }
    Post(std::move(job));
}

void Worker::Stop() {
    {
        ScopedLock guard(lock);
        stopping = true;
    }
    posted.Set();
    taken.Set();
    thread.Join();
}

bool Worker::IsMine() const { return self == ThisThread(); }

std::optional<Worker::Job> Worker::Next() {
    ScopedLock guard(lock);
    if (stopping || jobs.empty()) {
        return stopping ? std::optional<Job>(Job()) : std::nullopt;
    }
    Job job = std::move(jobs.front());
    jobs.pop_front();
    return job;
}

void Worker::Run() {
    self = ThisThread();
    const bool isRegular = regularInterval != 0;
    const auto next = [&] { return isRegular ? Deadline::In(regularInterval) : Deadline::Never(); };
    for (Deadline due = next();;) {
        const std::optional<Job> job = Next();
        if (job && !*job) {
            return;
        }
        if (job) {
            taken.Set();
            (*job)();
        }
        if (isRegular && due.HasPassed()) {
            regular();
            due = next();
        } else if (!job && !isRegular) {
            posted.Wait();
        } else if (!job) {
            static_cast<void>(posted.Wait(due.Left()));
        }
    }
}

}  // namespace vantry::client
