#include "host/local_device_server.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <utility>
#include <vector>

#include "driver/exports.h"

namespace vantry {
namespace {

constexpr std::size_t kChunkBytes = 64U << 10U;
constexpr int kPauseMilliseconds = 50;
/// What epoll tells of besides clients, which count up from kFirstClient.
constexpr std::uint64_t kListening = 0;
constexpr std::uint64_t kWoken = 1;
constexpr std::uint64_t kFirstClient = 2;
/// A client may stop reading for as long as it likes, a debugger's breakpoint say.
constexpr OutputLimits kLimits{.stallMilliseconds = 0xFFFFFFFF};

void Watch(int poller, int operation, int number, std::uint64_t id, std::uint32_t events) {
    epoll_event event{.events = events, .data = {.u64 = id}};
    epoll_ctl(poller, operation, number, &event);
}

}  // namespace

struct LocalDeviceServer::Client {
    std::uint64_t id;
    std::uint32_t handle;
    SocketConnection connection;
    NativeThread thread;
};

LocalDeviceServer::LocalDeviceServer(const DeviceSocket& listening,
                                     std::shared_ptr<OutputFlusher> outputFlusher)
    : socket(listening),
      flusher(std::move(outputFlusher)),
      poller(epoll_create1(EPOLL_CLOEXEC)),
      lastClient(kFirstClient) {
    Watch(poller, EPOLL_CTL_ADD, socket.Number(), kListening, EPOLLIN);
    Watch(poller, EPOLL_CTL_ADD, wake.Number(), kWoken, EPOLLIN);
    stopping = !thread.Start([this] { Run(); });
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
    std::array<epoll_event, 64> ready{};
    while (!stopping) {
        const int count = epoll_wait(poller, ready.data(), static_cast<int>(ready.size()),
                                     pausing ? kPauseMilliseconds : -1);
        if (std::exchange(pausing, false)) {
            Watch(poller, EPOLL_CTL_MOD, socket.Number(), kListening, EPOLLIN);
        }
        for (int place = 0; place < count; ++place) {
            const epoll_event& event = ready[static_cast<std::size_t>(place)];
            if (event.data.u64 == kListening) {
                AcceptClients();
            } else if (event.data.u64 == kWoken) {
                wake.Clear();
                DropFinished();
            } else {
                Serve(event.data.u64, event.events);
            }
        }
    }
    while (!clients.empty()) {
        Drop(clients.begin()->first);
    }
}

void LocalDeviceServer::AcceptClients() {
    for (;;) {
        const Accepted accepted = AcceptClient(socket.Number());
        if (accepted.exhausted) {
            pausing = true;
            Watch(poller, EPOLL_CTL_MOD, socket.Number(), kListening, 0);
        }
        if (accepted.descriptor < 0) {
            return;
        }
        AddClient(accepted.descriptor);
    }
}

void LocalDeviceServer::AddClient(int descriptor) {
    const std::uint64_t id = lastClient++;
    auto client = std::unique_ptr<Client>(
        new Client{id, PRN_Open(0, 0, 0), {descriptor, flusher, kLimits}, {}});
    Client& added = *client;
    clients.emplace(id, std::move(client));
    Watch(poller, EPOLL_CTL_ADD, descriptor, id, EPOLLIN);
    if (!added.thread.Start([this, &added] { SendOutput(added); })) {
        Drop(id);
    }
}

void LocalDeviceServer::Serve(std::uint64_t id, std::uint32_t events) {
    const auto client = clients.find(id);
    if (client == clients.end()) {
        return;
    }
    const bool closed = (events & (EPOLLHUP | EPOLLERR)) != 0;
    // What a client has sent before it closed still counts.
    while (TakeInput(*client->second) && closed) {
    }
    if (closed) {
        Drop(id);
    }
}

bool LocalDeviceServer::TakeInput(Client& client) {
    std::array<std::uint8_t, kChunkBytes> chunk;
    const SocketDescriptor::Use use(client.connection.Socket());
    if (!use) {
        return false;
    }
    const ssize_t count = recv(use.Number(), chunk.data(), chunk.size(), MSG_DONTWAIT);
    if (count > 0) {
        // Refused once the hub has ended the session; the client's thread tells of that.
        PRN_Write(client.handle, chunk.data(), static_cast<std::uint32_t>(count));
    } else if (count == 0) {
        // It sends no more, but may still receive.
        Watch(poller, EPOLL_CTL_MOD, use.Number(), client.id, 0);
    }
    return count > 0;
}

void LocalDeviceServer::SendOutput(Client& client) {
    std::vector<std::uint8_t> chunk(kChunkBytes);
    for (;;) {
        const std::int32_t count = PRN_Read(client.handle, chunk.data(), kChunkBytes);
        if (count <= 0 || client.connection.Write(chunk.data(), count) < 0) {
            break;
        }
    }
    client.connection.Close();
    ScopedLock guard(finishedLock);
    finished.push_back(client.id);
    wake.Ring();
}

void LocalDeviceServer::Drop(std::uint64_t id) {
    const auto client = clients.find(id);
    if (client == clients.end()) {
        return;
    }
    PRN_Close(client->second->handle);
    client->second->thread.Join();
    clients.erase(client);
}

void LocalDeviceServer::DropFinished() {
    std::deque<std::uint64_t> gone;
    {
        ScopedLock guard(finishedLock);
        gone.swap(finished);
    }
    for (const std::uint64_t id : gone) {
        Drop(id);
    }
}

}  // namespace vantry
