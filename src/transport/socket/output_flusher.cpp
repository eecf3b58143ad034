// One thread for all outputs that wait.
//
// The thread sleeps in epoll_wait: without a time limit while no output waits, else for some
// milliseconds at most, because the limits on slow peers are checked by time. After each wait it
// calls Advance of every output, whatever ended the wait; Advance finds out what there is to do.
// Few outputs wait at a time, so that costs less than keeping track of which socket is ready. The
// thread calls Advance without the flusher's lock, since an output calls back into Watch and Forget
// under its own. A wake-up descriptor in the same epoll set ends the wait when an output is added
// and at the stop.

#include "transport/socket/output_flusher.h"

#include <algorithm>
#include <utility>

namespace vantry {
namespace {

/// How often the limits of waiting outputs are checked. It is a fraction of the shortest of them.
constexpr int kLookMilliseconds = 25;

}  // namespace

OutputFlusher::OutputFlusher(Descriptors& calls, std::uint64_t mostLingering)
    : descriptors(calls), most(mostLingering), poller(calls.OpenPoller()), wake(calls) {
    // Without its descriptors the thread could neither sleep nor be woken.
    if (descriptors.AddToPoller(poller, wake.Number(), POLLIN) != 0 ||
        !thread.Start([this] { Run(); }, "output-flusher")) {
        ScopedLock guard(lock);
        stopping = true;
    }
}

OutputFlusher::~OutputFlusher() {
    Stop();
    descriptors.Close(poller);
}

void OutputFlusher::Stop() {
    {
        ScopedLock guard(lock);
        stopping = true;
    }
    wake.Ring();
    thread.Join();
    for (const std::shared_ptr<SocketOutput>& output : Watched()) {
        output->CloseNow();
    }
}

bool OutputFlusher::Watch(int number, std::shared_ptr<SocketOutput> output, bool waitsForSocket) {
    {
        ScopedLock guard(lock);
        if (stopping) {
            return false;
        }
        outputs.insert_or_assign(number, std::move(output));
    }
    if (waitsForSocket && descriptors.AddToPoller(poller, number, POLLOUT) != 0) {
        Forget(number);
        return false;
    }
    // The thread sleeps without a time limit if no output was watched.
    wake.Ring();
    return true;
}

void OutputFlusher::WatchByTime(int number) { descriptors.RemoveFromPoller(poller, number); }

void OutputFlusher::Forget(int number) {
    WatchByTime(number);
    ScopedLock guard(lock);
    outputs.erase(number);
}

std::vector<std::shared_ptr<SocketOutput>> OutputFlusher::Watched() {
    std::vector<std::shared_ptr<SocketOutput>> all;
    ScopedLock guard(lock);
    all.reserve(outputs.size());
    for (const auto& [number, output] : outputs) {
        all.push_back(output);
    }
    return all;
}

void OutputFlusher::BoundLingering(const std::vector<std::shared_ptr<SocketOutput>>& all) {
    if (all.size() <= most) {
        return;
    }
    std::vector<std::pair<std::uint64_t, SocketOutput*>> lingering;
    for (const std::shared_ptr<SocketOutput>& output : all) {
        if (const std::uint64_t since = output->LingersSince(); since != 0) {
            lingering.emplace_back(since, output.get());
        }
    }
    if (lingering.size() <= most) {
        return;
    }
    std::sort(lingering.begin(), lingering.end());
    for (std::size_t place = 0; place < lingering.size() - most; ++place) {
        lingering[place].second->CloseNow();
    }
}

void OutputFlusher::Run() {
    for (;;) {
        {
            ScopedLock guard(lock);
            if (stopping) {
                return;
            }
        }
        const std::vector<std::shared_ptr<SocketOutput>> all = Watched();
        for (const std::shared_ptr<SocketOutput>& output : all) {
            output->Advance();
        }
        BoundLingering(all);
        descriptors.WaitForPoller(poller, all.empty() ? -1 : kLookMilliseconds);
        wake.Clear();
    }
}

}  // namespace vantry
