// How a run fails.
//
// The calls that a thread is in can be read only on its own stack. The scheduler therefore runs
// each thread once more: SwitchTo, in which every other thread waits, notes the calls and returns
// to the thread that reports.

#include <execinfo.h>

#include <cstdio>
#include <cstdlib>

#include "simulation/report.h"
#include "simulation/scheduler.h"

namespace vantry::simulation {

void Scheduler::NoteCalls(SimulatedThread& thread) {
    constexpr int kDeepest = 24;
    thread.calls.resize(kDeepest);
    const int count = backtrace(thread.calls.data(), kDeepest);
    thread.calls.resize(static_cast<std::size_t>(count));
    if (&thread != reporter) {
        setcontext(&reporter->context);
    }
}

void Scheduler::Fail(std::string_view reason) {
    SimulatedThread* const self = current;
    reporter = self;
    for (const std::unique_ptr<SimulatedThread>& thread : threads) {
        if (thread->hasBegun && thread->state != SimulatedThread::State::Ended &&
            thread.get() != self) {
            current = thread.get();
            swapcontext(&self->context, &thread->context);
        }
    }
    current = self;
    NoteCalls(*self);
    WriteReport(reason, settings, now, threads);
    std::fflush(stdout);
    _Exit(1);
}

}  // namespace vantry::simulation
