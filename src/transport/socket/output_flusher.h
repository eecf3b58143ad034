#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "runtime/lock.h"
#include "runtime/native_thread.h"
#include "transport/socket/socket_output.h"

namespace vantry {

/// The one thread that empties the outputs of all sockets whose peers are slower than the hub.
///
/// It sleeps while nothing waits. Safe for any number of threads. Shared by the outputs, so whoever
/// made it calls Stop before letting go, or its last owner might be its own thread. Outputs may
/// outlive that: they fail then instead of waiting.
class OutputFlusher {
public:
    /// Of the connections with an account that are closed and still have output, at most
    /// `mostLingering` are kept; the one that was closed first goes first.
    explicit OutputFlusher(std::uint64_t mostLingering = kUnbounded);
    ~OutputFlusher();
    OutputFlusher(const OutputFlusher&) = delete;
    OutputFlusher& operator=(const OutputFlusher&) = delete;

    /// Ends the thread; what waits is dropped and its connections are closed. Later calls of
    /// Watch fail.
    void Stop();

private:
    friend class SocketOutput;

    /// Advances `output` every few milliseconds and, if it waits for the socket, whenever that
    /// takes more. False if it can't be.
    [[nodiscard]] bool Watch(int number, std::shared_ptr<SocketOutput> output, bool waitsForSocket);
    /// Doesn't look at the socket itself any more.
    void WatchByTime(int number);
    void Forget(int number);

    void Run();
    std::vector<std::shared_ptr<SocketOutput>> Watched();
    void BoundLingering(const std::vector<std::shared_ptr<SocketOutput>>& all);

    const std::uint64_t most;
    const int poller;
    const int wake;
    Lock lock;
    bool stopping GUARDED_BY(lock) = false;
    std::unordered_map<int, std::shared_ptr<SocketOutput>> outputs GUARDED_BY(lock);
    NativeThread thread;
};

}  // namespace vantry
