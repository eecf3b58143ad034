#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "host/device_socket.h"
#include "host/local_stream.h"
#include "platform/platform.h"
#include "platform/wake_up.h"
#include "runtime/native_thread.h"

namespace vantry {

/// Accepts the clients of the device "PRN1:" in other processes; each becomes a session of the hub
/// with a LocalStream.
///
/// If the system can't create the serving thread, IsServing returns false, and clients that connect
/// are never accepted.
class LocalDeviceServer {
public:
    /// Starts to serve. `listening` and `machine` must outlive the server. The hub must run until
    /// Stop has returned.
    LocalDeviceServer(const DeviceSocket& listening, std::shared_ptr<OutputFlusher> outputFlusher,
                      Platform& machine);
    ~LocalDeviceServer() { Stop(); }
    LocalDeviceServer(const LocalDeviceServer&) = delete;
    LocalDeviceServer& operator=(const LocalDeviceServer&) = delete;

    /// Returns whether the serving thread could be created and Stop wasn't called. Any thread may
    /// call it; it doesn't block.
    [[nodiscard]] bool IsServing() const { return !stopping; }

    /// Lets the sessions handle what clients have sent and sends them what is left, for 2 seconds
    /// at most; then closes all clients. Blocks meanwhile. Further calls do nothing.
    void Stop();

private:
    using Streams = std::vector<std::shared_ptr<LocalStream>>;

    void Run();
    /// Blocks until clients connect, for `milliseconds` at most or without a limit if -1, and
    /// accepts them unless `finishing`.
    void ServeOnce(int milliseconds);
    void AcceptClients();
    void Finish();
    /// Serves until `isDone` holds for every client, or until the deadline.
    void ServeUntil(const std::function<bool(LocalStream&)>& isDone, std::uint64_t deadline);
    /// Returns the clients that are left, and forgets the others.
    Streams TakeStock();

    const DeviceSocket& socket;
    const std::shared_ptr<OutputFlusher> flusher;
    Platform& platform;
    WakeUp wake{Descriptors::OfSystem()};
    std::atomic<bool> stopping{false};
    /// Only the serving thread uses the other fields.
    std::vector<std::weak_ptr<LocalStream>> clients;
    /// At this number of clients, those that have gone are forgotten.
    std::size_t stockDue = 0;
    /// Whether no more clients are accepted.
    bool finishing = false;
    NativeThread thread;
};

}  // namespace vantry
