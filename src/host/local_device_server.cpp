// The local device as a socket.
//
// One thread takes what all clients send. It leaves the socket of a client alone while the hub
// holds much of its input (LocalSession::HoldInput): then the socket fills up and the client's own
// send waits, so nothing is dropped and nothing grows. A descriptor is in the poller only while its
// client is listened to, since a hang-up can't be masked there.
//
// One thread for each client takes what the hub has for it and sends it with a send that blocks. So
// no more than one chunk is ever on its way, and a client that reads slowly, or that stopped at a
// breakpoint, simply keeps its thread waiting; what the hub holds meanwhile is bounded by the
// session. When a client has gone, its thread goes on taking and drops what it gets, so that the
// session can act on the rest of what was sent. The session ends the output then, the thread ends,
// and the serving thread drops the client.
//
// At a stop the serving thread carries on until it finds nothing left to do or the time is over.

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
#include "runtime/clock.h"

namespace vantry {
namespace {

constexpr std::size_t kChunkBytes = 64U << 10U;
constexpr int kPauseMilliseconds = 50;
constexpr int kFinishingLookMilliseconds = 10;
constexpr std::uint64_t kFinishingNanoseconds = 2000 * kNanosecondsPerMillisecond;
/// At a stop, a client that has taken nothing for so long doesn't read.
constexpr std::uint64_t kNotReadingNanoseconds = 200 * kNanosecondsPerMillisecond;
/// What epoll tells of besides clients, which count up from kFirstClient.
constexpr std::uint64_t kListening = 0;
constexpr std::uint64_t kWoken = 1;
constexpr std::uint64_t kFirstClient = 2;

void Control(int poller, int operation, int number, std::uint64_t id, std::uint32_t events) {
    epoll_event event{.events = events, .data = {.u64 = id}};
    epoll_ctl(poller, operation, number, &event);
}

}  // namespace

/// A connection and the handle that serves it.
struct LocalDeviceServer::Client {
    Client(std::uint64_t place, int accepted, std::uint32_t opened)
        : id(place), descriptor(accepted), handle(opened), session(LocalSessionOf(opened)) {}
    ~Client() { close(descriptor); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// Wakes the thread from a send, and lets the client see the end.
    void ShutDown() const { shutdown(descriptor, SHUT_RDWR); }
    /// Sends all of it. False if the client has gone.
    bool Send(const std::uint8_t* bytes, std::size_t length) const;
    /// Whether its session has nothing left to do, and its output is sent or isn't read.
    bool IsFinished(std::uint64_t now);

    const std::uint64_t id;
    const int descriptor;
    const std::uint32_t handle;
    const std::shared_ptr<LocalSession> session;
    /// It is in the poller.
    bool watched = false;
    /// It has sent all that it will.
    bool inputEnded = false;
    /// How much of the output was sent or dropped. Written by the client's thread.
    std::atomic<std::uint64_t> sent{0};
    /// Of IsFinished alone.
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
        ServeOnce(pausing ? kPauseMilliseconds : -1);
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
            ServeNews();
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
    added.session->OnChange([this, id] { Tell(News::Changed, id); });
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
    Input input = TakeInput(client);
    while (input == Input::Taken && closed && !client.session->InputIsFull()) {
        input = TakeInput(client);
    }
    if (input == Input::Ended && closed) {
        client.inputEnded = true;
        Unwatch(client);
        client.session->EndInput();
    } else if (input == Input::Ended) {
        // It sends no more, but may still receive. A hang-up is told all the same.
        Control(poller, EPOLL_CTL_MOD, client.descriptor, client.id, 0);
    } else if (client.session->HoldInput()) {
        Unwatch(client);
    }
}

LocalDeviceServer::Input LocalDeviceServer::TakeInput(Client& client) {
    std::array<std::uint8_t, kChunkBytes> chunk;
    const ssize_t count = recv(client.descriptor, chunk.data(), chunk.size(), MSG_DONTWAIT);
    if (count > 0) {
        // Refused once the hub has ended the session; the client's thread tells of that.
        PRN_Write(client.handle, chunk.data(), static_cast<std::uint32_t>(count));
        return Input::Taken;
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
    Tell(News::Finished, client.id);
}

void LocalDeviceServer::Tell(News news, std::uint64_t id) {
    ScopedLock guard(newsLock);
    (news == News::Changed ? changed : finished).push_back(id);
    wake.Ring();
}

void LocalDeviceServer::ServeNews() {
    std::deque<std::uint64_t> toLookAt;
    std::deque<std::uint64_t> gone;
    {
        ScopedLock guard(newsLock);
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
