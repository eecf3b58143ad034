#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>

#include "host/device_socket.h"
#include "host/socket_connection.h"
#include "platform/wake_up.h"
#include "runtime/lock.h"
#include "runtime/native_thread.h"
#include "transport/socket/output_flusher.h"

namespace vantry {

/// Serves the device "PRN1:" to other processes: a connection is one open handle.
///
/// One thread takes what all clients send, and one thread for each client takes what the hub has
/// for it. A client that leaves too much untaken is closed. A client that has ended its sending
/// side still receives until it closes.
class LocalDeviceServer {
public:
    /// `listening` must outlive the server. The hub must be up until Stop.
    LocalDeviceServer(const DeviceSocket& listening, std::shared_ptr<OutputFlusher> outputFlusher);
    ~LocalDeviceServer();
    LocalDeviceServer(const LocalDeviceServer&) = delete;
    LocalDeviceServer& operator=(const LocalDeviceServer&) = delete;

    /// Closes all handles and ends all threads.
    void Stop();

private:
    struct Client;

    void Run();
    void AcceptClients();
    void AddClient(int descriptor);
    void Serve(std::uint64_t id, std::uint32_t events);
    /// False if there was nothing to take.
    bool TakeInput(Client& client);
    void Drop(std::uint64_t id);
    void DropFinished();
    /// The thread of a client.
    void SendOutput(Client& client);

    const DeviceSocket& socket;
    const std::shared_ptr<OutputFlusher> flusher;
    const int poller;
    WakeUp wake;
    std::atomic<bool> stopping{false};
    /// Of the serving thread alone.
    std::map<std::uint64_t, std::unique_ptr<Client>> clients;
    std::uint64_t lastClient;
    /// Accepting pauses while the machine has no descriptors left.
    bool pausing = false;
    Lock finishedLock;
    std::deque<std::uint64_t> finished GUARDED_BY(finishedLock);
    NativeThread thread;
};

}  // namespace vantry
