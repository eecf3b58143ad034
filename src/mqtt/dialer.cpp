// The thread is detached and owns its queue together with the dialer: whoever ends must not wait
// for a look-up, which may take minutes. A report is called under the lock of the queue, so that no
// report comes after Cancel.

#include "mqtt/dialer.h"

#include <deque>
#include <optional>
#include <string>
#include <utility>

#include "runtime/detached_thread.h"
#include "runtime/event.h"
#include "runtime/lock.h"

namespace vantry::mqtt {

struct Dialer::Shared {
    struct Job {
        Ticket ticket;
        Connection::Settings settings;
        Connection::Callbacks callbacks;
        Report report;
    };

    Mutex lock;
    std::deque<Job> jobs GUARDED_BY(lock);
    /// The attempt under way, or 0 if there is none or it was cancelled.
    Ticket current GUARDED_BY(lock) = 0;
    bool hasEnded GUARDED_BY(lock) = false;
    /// Set when there is a job, or the dialer ends.
    Event work{true};
};

Dialer::Dialer()
    : shared(std::make_shared<Shared>()),
      hasThread(StartDetached([queue = shared] { Run(*queue); })) {}

Dialer::~Dialer() {
    {
        ScopedLock guard(shared->lock);
        shared->jobs.clear();
        shared->current = 0;
        shared->hasEnded = true;
    }
    shared->work.Set();
}

Dialer::Ticket Dialer::Begin(Connection::Settings settings, Connection::Callbacks callbacks,
                             Report report) {
    const Ticket ticket = ++last;
    if (!hasThread) {
        report(Error{ErrorCode::NoConnection, "can't connect: the system has no thread to give"});
        return ticket;
    }
    {
        ScopedLock guard(shared->lock);
        shared->jobs.push_back(
            {ticket, std::move(settings), std::move(callbacks), std::move(report)});
    }
    shared->work.Set();
    return ticket;
}

void Dialer::Cancel(Ticket ticket) {
    ScopedLock guard(shared->lock);
    if (shared->current == ticket) {
        shared->current = 0;
    }
    std::erase_if(shared->jobs, [&](const Shared::Job& job) { return job.ticket == ticket; });
}

Result<std::unique_ptr<Connection>> Dialer::BeginWithin(std::uint32_t milliseconds,
                                                        Connection::Settings settings,
                                                        Connection::Callbacks callbacks) {
    const std::string name = settings.broker.Name();
    std::optional<Result<std::unique_ptr<Connection>>> begun;
    Event done(false);
    Dialer dialer;
    const Ticket ticket =
        dialer.Begin(std::move(settings), std::move(callbacks), [&](auto connection) {
            begun.emplace(std::move(connection));
            done.Set();
        });
    static_cast<void>(done.Wait(milliseconds));
    // From here on the other thread uses nothing of this one.
    dialer.Cancel(ticket);
    if (!begun) {
        return Error{ErrorCode::TimedOut, "the look-up of the broker " + name + " takes too long"};
    }
    return std::move(*begun);
}

void Dialer::Run(Shared& queue) {
    for (;;) {
        Shared::Job job;
        {
            ScopedLock guard(queue.lock);
            if (queue.hasEnded) {
                return;
            }
            if (!queue.jobs.empty()) {
                job = std::move(queue.jobs.front());
                queue.jobs.pop_front();
                queue.current = job.ticket;
            }
        }
        if (!job.report) {
            queue.work.Wait();
            continue;
        }
        auto begun = Connection::Begin(job.settings, std::move(job.callbacks));
        ScopedLock guard(queue.lock);
        if (queue.current == job.ticket) {
            job.report(std::move(begun));
        }
    }
}

}  // namespace vantry::mqtt
