// The local device as a socket.
//
// One thread accepts the clients and passes each of them to the hub as a LocalStream. From then on
// the thread of the client's session does all the work; the server only remembers the client for
// the stop.
//
// A stop has two steps. First the server waits until no session has anything left to do. Then it
// ends the input of all clients and waits for the sessions to find that end. The second step is
// needed because a session that has just received something looks for a moment as if it waited for
// input: the end comes after the last byte, so whoever has found it has handled everything.

#include "host/local_device_server.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <utility>

#include "driver/local_clients.h"
#include "host/accept_client.h"
#include "platform/exhaustion.h"
#include "runtime/clock.h"

namespace vantry {
namespace {

constexpr int kFinishingLookMilliseconds = 5;
constexpr std::uint64_t kFinishingNanoseconds = 2000 * kNanosecondsPerMillisecond;
constexpr std::size_t kFewClients = 64;

}  // namespace

LocalDeviceServer::LocalDeviceServer(const DeviceSocket& listening,
                                     std::shared_ptr<OutputFlusher> outputFlusher,
                                     Platform& machine)
    : socket(listening), flusher(std::move(outputFlusher)), platform(machine) {
    stopping = !thread.Start([this] { Run(); }, "local-device");
}

void LocalDeviceServer::Stop() {
    stopping = true;
    wake.Ring();
    thread.Join();
}

void LocalDeviceServer::Run() {
    while (!stopping) {
        ServeOnce(-1);
    }
    Finish();
}

void LocalDeviceServer::ServeOnce(int milliseconds) {
    std::array<pollfd, 2> waits{
        {{wake.Number(), POLLIN, 0}, {finishing ? -1 : socket.Number(), POLLIN, 0}}};
    if (poll(waits.data(), waits.size(), milliseconds) > 0 && waits[1].revents != 0) {
        AcceptClients();
    }
}

void LocalDeviceServer::AcceptClients() {
    for (;;) {
        const Accepted accepted = AcceptClient(socket.Number());
        if (accepted.exhausted) {
            // The listening socket stays readable, so only the wake-up is waited for.
            pollfd wait{wake.Number(), POLLIN, 0};
            poll(&wait, 1, static_cast<int>(kExhaustedMilliseconds));
        }
        if (accepted.descriptor < 0) {
            return;
        }
        const auto client = std::make_shared<LocalStream>(
            accepted.descriptor, flusher, platform.accounting->Bounds(), platform.notices);
        if (ServeLocalClient(client)) {
            clients.push_back(client);
        }
        if (clients.size() >= stockDue) {
            stockDue = 2 * TakeStock().size() + kFewClients;
        }
    }
}

LocalDeviceServer::Streams LocalDeviceServer::TakeStock() {
    Streams left;
    std::erase_if(clients, [&](const std::weak_ptr<LocalStream>& client) {
        std::shared_ptr<LocalStream> held = client.lock();
        const bool isGone = !held;
        if (held) {
            left.push_back(std::move(held));
        }
        return isGone;
    });
    return left;
}

void LocalDeviceServer::Finish() {
    wake.Clear();
    const std::uint64_t deadline = NowNanoseconds() + kFinishingNanoseconds;
    ServeUntil([](LocalStream& client) { return client.IsIdle(); }, deadline);
    finishing = true;
    for (const std::shared_ptr<LocalStream>& client : TakeStock()) {
        client->EndInput();
    }
    ServeUntil([](LocalStream& client) { return client.IsFinished(); }, deadline);
    for (const std::shared_ptr<LocalStream>& client : TakeStock()) {
        client->Close();
    }
}

void LocalDeviceServer::ServeUntil(const std::function<bool(LocalStream&)>& isDone,
                                   std::uint64_t deadline) {
    while (NowNanoseconds() < deadline) {
        ServeOnce(kFinishingLookMilliseconds);
        const Streams left = TakeStock();
        if (std::all_of(left.begin(), left.end(),
                        [&](const auto& client) { return isDone(*client); })) {
            return;
        }
    }
}

}  // namespace vantry
