// Sockets in memory.
//
// A connection is two ways, one for each direction. Bytes that are sent stand in the way until they
// arrive; a reader takes what has arrived, and often less. A way has room for a few kilobytes, so a
// reader that stops makes the sender's calls fail with EAGAIN. Closing a socket whose input isn't
// read resets the connection, as TCP does.

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "runtime/clock.h"
#include "simulation/races.h"
#include "simulation/scheduler.h"
#include "simulation/simulated_descriptors.h"

namespace vantry::simulation {
namespace {

std::size_t RoomOf(std::span<const iovec> parts) {
    std::size_t room = 0;
    for (const iovec& part : parts) {
        room += part.iov_len;
    }
    return room;
}

void TraceBytes(const char* does, std::size_t count, int socket) {
    if (Scheduler::Current().IsTracing()) {
        Scheduler::Current().Trace(std::string(does) + " " + std::to_string(count) + " bytes on " +
                                   std::to_string(socket));
    }
}

}  // namespace

std::uint64_t SimulatedDescriptors::Delay() {
    return random.OneIn(lateOneIn) ? random.Below(200) * kNanosecondsPerMillisecond : 0;
}

std::pair<SimulatedDescriptors::NodeReference, SimulatedDescriptors::NodeReference>
SimulatedDescriptors::Connected() {
    auto hub = std::make_shared<Node>(Kind::Socket);
    auto peer = std::make_shared<Node>(Kind::Socket);
    peer->isPeers = true;
    hub->in = peer->out = std::make_shared<Way>();
    hub->out = peer->in = std::make_shared<Way>();
    return {hub, peer};
}

bool SimulatedDescriptors::IsListening() const {
    return std::any_of(nodes.begin(), nodes.end(), [](const auto& entry) {
        return entry.second->kind == Kind::Listener && !entry.second->isShut;
    });
}

bool SimulatedDescriptors::AwaitListener(std::uint64_t nanoseconds) {
    Scheduler& scheduler = Scheduler::Current();
    const std::uint64_t end = scheduler.Now() + nanoseconds;
    while (!IsListening() && scheduler.Now() < end) {
        scheduler.Wait("the hub to listen", this, end);
    }
    return IsListening();
}

int SimulatedDescriptors::Connect() {
    Scheduler::Current().Point("connects");
    for (const auto& [number, node] : nodes) {
        if (node->kind == Kind::Listener && !node->isShut) {
            auto [hub, peer] = Connected();
            node->waiting.push_back(std::move(hub));
            Changed(*node);
            return Add(std::move(peer));
        }
    }
    return -ECONNREFUSED;
}

std::pair<int, int> SimulatedDescriptors::Pair() {
    auto [hub, peer] = Connected();
    const int first = Add(std::move(hub));
    return {first, Add(std::move(peer))};
}

void SimulatedDescriptors::ResetBoth(const Node& node) {
    node.out->Reset();
    node.in->wasReset = true;
}

void SimulatedDescriptors::Reset(int socket) {
    Scheduler::Current().Point("resets its connection");
    ResetBoth(*Get(socket, "reset"));
    Close(socket);
}

void SimulatedDescriptors::Leave(const Node& node) {
    if (node.in->Size() != 0) {
        ResetBoth(node);
    }
    node.in->readerHasGone = true;
    node.out->End(0);
}

int SimulatedDescriptors::OpenTcp() {
    const OutsideHub here;
    return Add(std::make_shared<Node>(Kind::Unconnected));
}

int SimulatedDescriptors::Listen(int socket, InternetAddress& address, int) {
    const OutsideHub here;
    Scheduler::Current().Point("listens");
    if (IsListening()) {
        return -EADDRINUSE;
    }
    const NodeReference node = Get(socket, "listen");
    node->kind = Kind::Listener;
    Changed(*node);
    address.port = htons(9102);
    return 0;
}

int SimulatedDescriptors::Accept(int socket, InternetAddress& peer) {
    const OutsideHub here;
    Scheduler& scheduler = Scheduler::Current();
    const NodeReference node = Get(socket, "accept");
    scheduler.Point("accepts");
    if (random.OneIn(errorOneIn)) {
        return random.OneIn(2) ? -ECONNABORTED : -EMFILE;
    }
    while (node->waiting.empty() && !node->isShut && node->kind == Kind::Listener) {
        scheduler.Wait("a peer to connect", node.get());
    }
    if (node->isShut || node->kind != Kind::Listener) {
        return -EINVAL;
    }
    const int accepted = Add(node->waiting.front());
    if (accepted >= 0) {
        node->waiting.front()->out->isServed = true;
        node->waiting.pop_front();
        peer = {htonl(INADDR_LOOPBACK), htons(++lastPort)};
    }
    return accepted;
}

ssize_t SimulatedDescriptors::Receive(int socket, std::span<iovec> parts, bool waits) {
    const OutsideHub here;
    Scheduler& scheduler = Scheduler::Current();
    const NodeReference node = Get(socket, "receive");
    scheduler.QuietPoint();
    if (random.OneIn(errorOneIn)) {
        return -EINTR;
    }
    Way& way = *node->in;
    for (;;) {
        Acquire(&way);
        if (way.wasReset && !way.resetWasSeen) {
            way.resetWasSeen = true;
            return -ECONNRESET;
        }
        if (way.HasArrived()) {
            const std::size_t room = RoomOf(parts);
            const std::size_t count =
                way.Take(parts, random.OneIn(3) ? std::min(room, 1 + random.Below(64)) : room);
            Changed(*node);
            TraceBytes("receives", count, socket);
            return static_cast<ssize_t>(count);
        }
        if (way.wasReset || way.EndHasArrived() || way.readerWantsNoMore) {
            return 0;
        }
        if (!waits) {
            return -EAGAIN;
        }
        scheduler.Wait("bytes on " + std::to_string(socket), &way, way.NextArrival());
    }
}

ssize_t SimulatedDescriptors::ErrorOfSending(const Node& node) {
    if (node.out->wasReset || node.out->readerHasGone) {
        return -ECONNRESET;
    }
    return node.out->HasEnded() ? -EPIPE : 0;
}

ssize_t SimulatedDescriptors::Send(int socket, std::string_view text) {
    const OutsideHub here;
    const NodeReference node = Get(socket, "send");
    Scheduler::Current().QuietPoint();
    if (const ssize_t error = ErrorOfSending(*node); error != 0) {
        return error;
    }
    const std::size_t used = std::min(node->out->Size(), capacity);
    std::size_t count = std::min(text.size(), capacity - used);
    if (count > 1 && random.OneIn(8)) {
        count = 1 + random.Below(count);
    }
    TraceBytes("sends", count, socket);
    if (count == 0) {
        return -EAGAIN;
    }
    node->out->Put(text.substr(0, count), Delay());
    Release(node->out.get());
    Changed(*node);
    return static_cast<ssize_t>(count);
}

ssize_t SimulatedDescriptors::SendAll(int socket, std::string_view text) {
    const OutsideHub here;
    const NodeReference node = Get(socket, "send");
    Scheduler::Current().QuietPoint();
    if (const ssize_t error = ErrorOfSending(*node); error != 0) {
        return error;
    }
    TraceBytes("sends", text.size(), socket);
    node->out->Put(text, Delay());
    Release(node->out.get());
    Changed(*node);
    return static_cast<ssize_t>(text.size());
}

ssize_t SimulatedDescriptors::SendParts(int socket, std::span<iovec> parts) {
    const OutsideHub here;
    std::string text;
    for (const iovec& part : parts) {
        text.append(static_cast<const char*>(part.iov_base), part.iov_len);
    }
    return Send(socket, text);
}

void SimulatedDescriptors::ShutDown(int socket, int how) {
    const OutsideHub here;
    const NodeReference node = Get(socket, "shutdown");
    Scheduler::Current().Point("shuts a socket down");
    node->isShut = true;
    if (node->kind == Kind::Socket) {
        Release(node->in.get());
        node->in->readerWantsNoMore = node->in->readerWantsNoMore || how != SHUT_WR;
        if (how != SHUT_RD) {
            node->out->End(Delay());
        }
    }
    Changed(*node);
}

int SimulatedDescriptors::Unreceived(int socket) {
    const OutsideHub here;
    return static_cast<int>(Get(socket, "ask for what is unreceived")->out->NotArrived());
}

bool SimulatedDescriptors::HasPeerEnded(int socket) {
    const OutsideHub here;
    return Get(socket, "ask for the peer's end")->in->EndIsSeen();
}

bool SimulatedDescriptors::IsDisconnected(int socket) {
    const OutsideHub here;
    return Get(socket, "ask for the connection's end")->in->wasReset;
}

}  // namespace vantry::simulation
