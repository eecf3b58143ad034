#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>

#include "host/device_socket.h"
#include "platform/wake_up.h"
#include "runtime/lock.h"
#include "runtime/native_thread.h"

namespace vantry {

/// Serves the device "PRN1:" to other processes: each connection is an open handle of the device.
///
/// If a client sends faster than the hub reads, its socket fills up and its own send blocks. A
/// client that has ended its sending side still receives until it closes. A client that leaves too
/// much output unread is closed. What a client has sent before it closes is still handled.
///
/// If the system can't create the serving thread, IsServing returns false, and clients that connect
/// are never accepted. If it can't create the thread of one client, that client is closed.
class LocalDeviceServer {
public:
    /// Starts to serve. `listening` must outlive the server. The hub must run until Stop has
    /// returned.
    explicit LocalDeviceServer(const DeviceSocket& listening);
    ~LocalDeviceServer();
    LocalDeviceServer(const LocalDeviceServer&) = delete;
    LocalDeviceServer& operator=(const LocalDeviceServer&) = delete;

    /// Returns whether the serving thread could be created and Stop wasn't called. Any thread may
    /// call it; it doesn't block.
    [[nodiscard]] bool IsServing() const { return !stopping; }

    /// Handles what clients have sent and sends them what is left, for 2 seconds at most; then
    /// closes all handles and ends all threads. Blocks meanwhile. Further calls do nothing.
    void Stop();

private:
    struct Client;
    enum class Input : std::uint8_t { Received, NothingThere, Ended };

    void Run();
    /// Blocks until there are events, for `milliseconds` at most or without a limit if -1, and
    /// handles them. Returns false if there were none.
    bool ServeOnce(int milliseconds);
    void FinishAll();
    void AcceptClients();
    void AddClient(int descriptor);
    void Serve(Client& client, bool closed);
    /// Receives one chunk of input without blocking and passes it to the session.
    static Input ReceiveInput(Client& client);
    void Watch(Client& client);
    void Unwatch(Client& client);
    void ServeChanges();
    void Drop(std::uint64_t id);
    /// Runs on the client's thread: sends output until the session ends it.
    void SendOutput(Client& client);
    enum class Change : std::uint8_t { Session, Thread };
    /// Queues a change of a client for the serving thread and wakes it. Any thread may call it.
    void Report(Change change, std::uint64_t id);

    const DeviceSocket& socket;
    const int poller;
    WakeUp wake{Descriptors::OfSystem()};
    std::atomic<bool> stopping{false};
    /// Only the serving thread uses this and the next two fields.
    std::map<std::uint64_t, std::unique_ptr<Client>> clients;
    std::uint64_t lastClient;
    /// Whether accepting pauses because descriptors are exhausted.
    bool pausing = false;
    Lock changesLock;
    /// Clients whose session has changed, and clients whose thread is ending.
    std::deque<std::uint64_t> changed GUARDED_BY(changesLock);
    std::deque<std::uint64_t> finished GUARDED_BY(changesLock);
    NativeThread thread;
};

}  // namespace vantry
