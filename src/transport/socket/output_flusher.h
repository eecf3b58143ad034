#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "platform/wake_up.h"
#include "runtime/lock.h"
#include "runtime/native_thread.h"
#include "transport/socket/socket_output.h"

namespace vantry {

/// The thread that sends the waiting output of all sockets whose peers read more slowly than the
/// hub writes. It sleeps while no output waits. All operations are thread-safe.
///
/// SocketOutputs share ownership of the flusher. The creator must call Stop() before it releases
/// its reference; otherwise the flusher's own thread could release the last one and join itself.
/// After Stop a SocketOutput fails where it would have to wait.
///
/// If the system can't create the thread or its descriptors, the flusher behaves as after Stop: the
/// hub serves peers that read fast enough, and closes a connection as soon as its output would have
/// to wait. Nothing is reported, since each such connection ends as that of any peer that is too
/// slow.
class OutputFlusher {
public:
    /// Starts the thread. Of the connections with an account that are closed and still have output,
    /// at most `mostLingering` are kept; beyond that, the ones that were closed first are dropped.
    /// `calls` are those of the sockets; they must outlive the flusher.
    explicit OutputFlusher(Descriptors& calls, std::uint64_t mostLingering = kUnbounded);
    ~OutputFlusher();
    OutputFlusher(const OutputFlusher&) = delete;
    OutputFlusher& operator=(const OutputFlusher&) = delete;

    /// Ends the thread, drops the output that waits and closes its connections. Blocks until the
    /// thread has ended. Further calls do nothing.
    void Stop();

private:
    friend class SocketOutput;

    /// Has the thread call Advance of `output` every few milliseconds and, if `waitsForSocket`,
    /// whenever the socket is writable. Returns false if that isn't possible, as after Stop.
    [[nodiscard]] bool Watch(int number, std::shared_ptr<SocketOutput> output, bool waitsForSocket);
    /// Stops watching the socket itself; the regular calls of Advance continue.
    void WatchByTime(int number);
    /// Ends what Watch began.
    void Forget(int number);

    void Run();
    std::vector<std::shared_ptr<SocketOutput>> Watched();
    void BoundLingering(const std::vector<std::shared_ptr<SocketOutput>>& all);

    Descriptors& descriptors;
    const std::uint64_t most;
    const int poller;
    WakeUp wake;
    Mutex lock;
    bool stopping GUARDED_BY(lock) = false;
    std::unordered_map<int, std::shared_ptr<SocketOutput>> outputs GUARDED_BY(lock);
    NativeThread thread;
};

}  // namespace vantry
