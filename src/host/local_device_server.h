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

/// Serves the device "PRN1:" to other processes: a connection is one open handle.
///
/// A client whose input the hub can't take fast enough is made to wait in its own send; one that
/// has ended its sending side still receives until it closes; one that leaves too much unread is
/// closed. What a client has sent before it closes is acted on.
class LocalDeviceServer {
public:
    /// `listening` must outlive the server. The hub must be up until Stop.
    explicit LocalDeviceServer(const DeviceSocket& listening);
    ~LocalDeviceServer();
    LocalDeviceServer(const LocalDeviceServer&) = delete;
    LocalDeviceServer& operator=(const LocalDeviceServer&) = delete;

    /// Has what clients have sent acted on and what they read sent, for 2 seconds at most; then
    /// closes all handles and ends all threads. Blocks meanwhile.
    void Stop();

private:
    struct Client;
    enum class Input : std::uint8_t { Taken, NothingThere, Ended };

    void Run();
    /// Waits for events, `milliseconds` at most or for ever if -1, and deals with them. Returns
    /// false if there were none.
    bool ServeOnce(int milliseconds);
    void FinishAll();
    void AcceptClients();
    void AddClient(int descriptor);
    void Serve(Client& client, bool closed);
    static Input TakeInput(Client& client);
    void Watch(Client& client);
    void Unwatch(Client& client);
    void ServeNews();
    void Drop(std::uint64_t id);
    /// The thread of a client.
    void SendOutput(Client& client);
    enum class News : std::uint8_t { Changed, Finished };
    void Tell(News news, std::uint64_t id);

    const DeviceSocket& socket;
    const int poller;
    WakeUp wake;
    std::atomic<bool> stopping{false};
    /// Of the serving thread alone.
    std::map<std::uint64_t, std::unique_ptr<Client>> clients;
    std::uint64_t lastClient;
    /// Accepting pauses while the machine has no descriptors left.
    bool pausing = false;
    Lock newsLock;
    /// Clients whose session has changed, and clients whose thread is ending.
    std::deque<std::uint64_t> changed GUARDED_BY(newsLock);
    std::deque<std::uint64_t> finished GUARDED_BY(newsLock);
    NativeThread thread;
};

}  // namespace vantry
