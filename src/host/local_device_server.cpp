// The local device as a socket.
//
// One serving thread receives the input of all clients. While the hub has much unread input of a
// client (LocalSession::HoldInput), the thread doesn't read that client's socket: the socket fills
// up and the client's own send blocks, so nothing is dropped and memory doesn't grow. A descriptor
// is in the epoll set only while its client is read, because epoll reports a hang-up even if no
// event is asked for.
//
// A thread for each client reads the session's output and sends it by a send that blocks. So at
// most one chunk is between the session and the socket, and a client that reads slowly, or is
// stopped in a debugger, only keeps its own thread waiting; the session bounds what the hub keeps
// meanwhile. After a client has disconnected, its thread reads on and drops what it gets, so that
// the session can handle the rest of the input. The session then ends the output, the thread ends,
// and the serving thread drops the client.
//
// At a stop the serving thread continues until it finds nothing left to do or the time is over.

#include "host/local_device_server.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>
#include <vector>

#include "driver/exports.h"
#include "driver/local_handles.h"
#include "host/accept_client.h"
#include "platform/exhaustion.h"
#include "runtime/clock.h"

namespace vantry {
namespace {

constexpr std::size_t kChunkBytes = 64U << 10U;
constexpr int kFinishingLookMilliseconds = 10;
constexpr std::uint64_t kFinishingNanoseconds = 2000 * kNanosecondsPerMillisecond;
/// At a stop, a client that has received nothing for so long counts as not reading.
constexpr std::uint64_t kNotReadingNanoseconds = 200 * kNanosecondsPerMillisecond;
/// The data of epoll events. Clients have the numbers from kFirstClient on.
constexpr std::uint64_t kListening = 0;
constexpr std::uint64_t kWoken = 1;
constexpr std::uint64_t kFirstClient = 2;

void Control(int poller, int operation, int number, std::uint64_t id, std::uint32_t events) {
    epoll_event event{.events = events, .data = {.u64 = id}};
    epoll_ctl(poller, operation, number, &event);
}

}  // namespace

/// A connection and its handle of the local device.
struct LocalDeviceServer::Client {
    Client(std::uint64_t place, int accepted, std::uint32_t opened)
        : id(place), descriptor(accepted), handle(opened), session(LocalSessionOf(opened)) {}
    ~Client() { close(descriptor); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// Ends a send that blocks, and disconnects the client.
    void ShutDown() const { shutdown(descriptor, SHUT_RDWR); }
    /// Blocks until all bytes are sent. Returns false if the client has disconnected.
    bool Send(const std::uint8_t* bytes, std::size_t length) const;
    /// Returns whether the session has nothing left to do and the output is sent or isn't read.
    /// Only the serving thread calls it.
    bool IsFinished(std::uint64_t now);

    const std::uint64_t id;
    const int descriptor;
    const std::uint32_t handle;
    const std::shared_ptr<LocalSession> session;
    /// Whether the descriptor is in the epoll set.
    bool watched = false;
    /// Whether the client sends no more.
    bool inputEnded = false;
    /// How many bytes of the output were sent or dropped. The client's thread writes it.
    std::atomic<std::uint64_t> sent{0};
    /// Only IsFinished uses these two.
    std::uint64_t sentBefore = 0;
    std::uint64_t lastProgress = 0;
    NativeThread thread;
};

bool LocalDeviceServer::Client::Send(const std::uint8_t* bytes, std::size_t length) const {
    while (length > 0) {
        const ssize_t count = send(descriptor, bytes, length, MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        const auto moved = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        bytes += moved;
        length -= moved;
    }
    return true;
}

bool LocalDeviceServer::Client::IsFinished(std::uint64_t now) {
    if (!session->IsIdle()) {
        return false;
    }
    const std::uint64_t sentNow = sent;
    if (!session->HasOutput() && session->OutputTaken() == sentNow) {
        return true;
    }
    if (sentNow != std::exchange(sentBefore, sentNow) || lastProgress == 0) {
        lastProgress = now;
    }
    return now - lastProgress > kNotReadingNanoseconds;
}

LocalDeviceServer::LocalDeviceServer(const DeviceSocket& listening)
    : socket(listening), poller(epoll_create1(EPOLL_CLOEXEC)), lastClient(kFirstClient) {
    Control(poller, EPOLL_CTL_ADD, socket.Number(), kListening, EPOLLIN);
    Control(poller, EPOLL_CTL_ADD, wake.Number(), kWoken, EPOLLIN);
    stopping = !thread.Start([this] { Run(); }, "local-device");
}

LocalDeviceServer::~LocalDeviceServer() {
    Stop();
    close(poller);
}

void LocalDeviceServer::Stop() {
    stopping = true;
    wake.Ring();
    thread.Join();
}

void LocalDeviceServer::Run() {
    while (!stopping) {
        ServeOnce(pausing ? static_cast<int>(kExhaustedMilliseconds) : -1);
    }
    FinishAll();
    while (!clients.empty()) {
        Drop(clients.begin()->first);
    }
}

bool LocalDeviceServer::ServeOnce(int milliseconds) {
    std::array<epoll_event, 64> ready{};
    const int count =
        epoll_wait(poller, ready.data(), static_cast<int>(ready.size()), milliseconds);
    if (std::exchange(pausing, false)) {
        Control(poller, EPOLL_CTL_MOD, socket.Number(), kListening, EPOLLIN);
    }
    for (int place = 0; place < count; ++place) {
        const epoll_event& event = ready[static_cast<std::size_t>(place)];
        if (event.data.u64 == kListening) {
            AcceptClients();
        } else if (event.data.u64 == kWoken) {
            wake.Clear();
            ServeChanges();
        } else if (const auto found = clients.find(event.data.u64); found != clients.end()) {
            Serve(*found->second, (event.events & (EPOLLHUP | EPOLLERR)) != 0);
        }
    }
    return count > 0;
}

void LocalDeviceServer::FinishAll() {
    const std::uint64_t deadline = NowNanoseconds() + kFinishingNanoseconds;
    for (std::uint64_t now = 0; now < deadline; now = NowNanoseconds()) {
        const bool served = ServeOnce(kFinishingLookMilliseconds);
        const auto isFinished = [&](const auto& entry) {
            return entry.second->IsFinished(NowNanoseconds());
        };
        if (!served && std::all_of(clients.begin(), clients.end(), isFinished)) {
            return;
        }
    }
}

void LocalDeviceServer::AcceptClients() {
    for (;;) {
        const Accepted accepted = AcceptClient(socket.Number());
        if (accepted.exhausted) {
            pausing = true;
            Control(poller, EPOLL_CTL_MOD, socket.Number(), kListening, 0);
        }
        if (accepted.descriptor < 0) {
            return;
        }
        AddClient(accepted.descriptor);
    }
}

void LocalDeviceServer::AddClient(int descriptor) {
    const std::uint64_t id = lastClient++;
    auto client = std::make_unique<Client>(id, descriptor, PRN_Open(0, 0, 0));
    if (!client->session) {
        return;
    }
    Client& added = *client;
    clients.emplace(id, std::move(client));
    added.session->OnChange([this, id] { Report(Change::Session, id); });
    Watch(added);
    if (!added.thread.Start([this, &added] { SendOutput(added); }, "local-client")) {
        Drop(id);
    }
}

void LocalDeviceServer::Watch(Client& client) {
    Control(poller, EPOLL_CTL_ADD, client.descriptor, client.id, EPOLLIN);
    client.watched = true;
}

void LocalDeviceServer::Unwatch(Client& client) {
    if (std::exchange(client.watched, false)) {
        epoll_ctl(poller, EPOLL_CTL_DEL, client.descriptor, nullptr);
    }
}

void LocalDeviceServer::Serve(Client& client, bool closed) {
    Input input = ReceiveInput(client);
    while (input == Input::Received && closed && !client.session->InputIsFull()) {
        input = ReceiveInput(client);
    }
    if (input == Input::Ended && closed) {
        client.inputEnded = true;
        Unwatch(client);
        client.session->EndInput();
    } else if (input == Input::Ended) {
        // The client sends no more, but may still receive. epoll still reports a hang-up.
        Control(poller, EPOLL_CTL_MOD, client.descriptor, client.id, 0);
    } else if (client.session->HoldInput()) {
        Unwatch(client);
    }
}

LocalDeviceServer::Input LocalDeviceServer::ReceiveInput(Client& client) {
    std::array<std::uint8_t, kChunkBytes> chunk;
    const ssize_t count = recv(client.descriptor, chunk.data(), chunk.size(), MSG_DONTWAIT);
    if (count > 0) {
        // It fails after the hub has ended the session; the client's thread reports that.
        PRN_Write(client.handle, chunk.data(), static_cast<std::uint32_t>(count));
        return Input::Received;
    }
    const bool later = count < 0 && (errno == EAGAIN || errno == EINTR);
    return later ? Input::NothingThere : Input::Ended;
}

void LocalDeviceServer::SendOutput(Client& client) {
    std::vector<std::uint8_t> chunk(kChunkBytes);
    bool isThere = true;
    for (;;) {
        const std::int32_t count = PRN_Read(client.handle, chunk.data(), kChunkBytes);
        if (count <= 0) {
            break;
        }
        const auto length = static_cast<std::size_t>(count);
        isThere = isThere && client.Send(chunk.data(), length);
        client.sent += length;
    }
    client.ShutDown();
    Report(Change::Thread, client.id);
}

void LocalDeviceServer::Report(Change change, std::uint64_t id) {
    ScopedLock guard(changesLock);
    (change == Change::Session ? changed : finished).push_back(id);
    wake.Ring();
}

void LocalDeviceServer::ServeChanges() {
    std::deque<std::uint64_t> toLookAt;
    std::deque<std::uint64_t> gone;
    {
        ScopedLock guard(changesLock);
        toLookAt.swap(changed);
        gone.swap(finished);
    }
    for (const std::uint64_t id : toLookAt) {
        const auto found = clients.find(id);
        if (found == clients.end()) {
            continue;
        }
        Client& client = *found->second;
        if (client.session->WasCut()) {
            client.ShutDown();
        } else if (!client.watched && !client.inputEnded && !client.session->HoldInput()) {
            Watch(client);
        }
    }
    for (const std::uint64_t id : gone) {
        Drop(id);
    }
}

void LocalDeviceServer::Drop(std::uint64_t id) {
    const auto found = clients.find(id);
    if (found == clients.end()) {
        return;
    }
    Client& client = *found->second;
    client.session->OnChange({});
    Unwatch(client);
    client.ShutDown();
    client.session->Abandon();
    PRN_Close(client.handle);
    client.thread.Join();
    clients.erase(found);
}

}  // namespace vantry
