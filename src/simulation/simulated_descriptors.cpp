// Sockets in memory.
//
// A connection is two ways, one for each direction. Bytes that are sent stand in the way as pieces
// with the moment of their arrival; a reader takes what has arrived, and often less. A way has room
// for a few kilobytes, so a reader that stops makes the sender's calls fail with EAGAIN. Closing a
// socket whose input isn't read resets the connection, as TCP does. All waits of this class are for
// one object, and whoever changes anything wakes all of them: they look again. Descriptors get the
// lowest free number, so that a number that is used too late belongs to somebody else.

#include "simulation/simulated_descriptors.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "runtime/clock.h"
#include "simulation/races.h"
#include "simulation/scheduler.h"

namespace vantry::simulation {
namespace {

/// No descriptor of the system has such a number in a simulation.
constexpr int kFirstNumber = 1'000'000;
constexpr std::size_t kMostOpen = 2'000;

}  // namespace

/// One direction of a connection.
struct SimulatedDescriptors::Way {
    struct Piece {
        std::string bytes;
        std::uint64_t arrival;
    };

    std::deque<Piece> pieces;
    std::size_t size = 0;
    std::uint64_t lastArrival = 0;
    /// Whether the sender has ended; it is seen at lastArrival.
    bool ended = false;
    bool readerHasGone = false;
    bool readerWantsNoMore = false;
    bool wasReset = false;
    bool resetWasSeen = false;

    bool HasArrived() const {
        return !pieces.empty() && pieces.front().arrival <= Scheduler::Current().Now();
    }
    bool EndHasArrived() const {
        return ended && pieces.empty() && lastArrival <= Scheduler::Current().Now();
    }
};

struct SimulatedDescriptors::Node {
    enum class Kind { Unconnected, Listener, Socket, Event, Poller };

    explicit Node(Kind whichKind) : kind(whichKind) {}

    Kind kind;
    // A socket.
    std::shared_ptr<Way> in;
    std::shared_ptr<Way> out;
    // A listener.
    std::deque<NodeReference> waiting;
    bool isShut = false;
    // An event.
    bool isSet = false;
    // A poller: numbers with what is waited for, and the nodes.
    std::map<int, std::pair<short, std::weak_ptr<Node>>> watched;
};

SimulatedDescriptors::SimulatedDescriptors(std::uint64_t seed)
    : random(seed * 2 + 3),
      errorOneIn(random.OneIn(2) ? 20 : 0),
      lateOneIn(random.OneIn(2) ? 1 + random.Below(20) : 0),
      capacity(std::size_t{512} << random.Below(10)) {}

void SimulatedDescriptors::Changed() { Scheduler::Current().Wake(this); }

int SimulatedDescriptors::Add(NodeReference node) {
    if (nodes.size() >= kMostOpen) {
        Scheduler::Current().Fail("descriptors are used up");
    }
    int number = kFirstNumber;
    for (const auto& [used, other] : nodes) {
        if (used != number) {
            break;
        }
        ++number;
    }
    nodes.emplace(number, std::move(node));
    return number;
}

SimulatedDescriptors::NodeReference SimulatedDescriptors::Get(int number, const char* use) const {
    const auto found = nodes.find(number);
    if (found == nodes.end()) {
        Scheduler::Current().Fail("descriptor " + std::to_string(number) + " isn't open: " + use);
    }
    return found->second;
}

std::uint64_t SimulatedDescriptors::Delay() {
    return random.OneIn(lateOneIn) ? random.Below(200) * kNanosecondsPerMillisecond : 0;
}

std::pair<SimulatedDescriptors::NodeReference, SimulatedDescriptors::NodeReference>
SimulatedDescriptors::Connected() {
    auto one = std::make_shared<Node>(Node::Kind::Socket);
    auto other = std::make_shared<Node>(Node::Kind::Socket);
    one->in = other->out = std::make_shared<Way>();
    one->out = other->in = std::make_shared<Way>();
    return {one, other};
}

bool SimulatedDescriptors::IsListening() const {
    return std::any_of(nodes.begin(), nodes.end(), [](const auto& entry) {
        return entry.second->kind == Node::Kind::Listener && !entry.second->isShut;
    });
}

int SimulatedDescriptors::Connect() {
    Scheduler::Current().Point("connects");
    for (const auto& [number, node] : nodes) {
        if (node->kind == Node::Kind::Listener && !node->isShut) {
            auto [peer, hub] = Connected();
            node->waiting.push_back(std::move(hub));
            Changed();
            return Add(std::move(peer));
        }
    }
    return -ECONNREFUSED;
}

std::pair<int, int> SimulatedDescriptors::Pair() {
    auto [one, other] = Connected();
    const int first = Add(std::move(one));
    return {first, Add(std::move(other))};
}

void SimulatedDescriptors::ResetPeer(Node& node) {
    node.out->pieces.clear();
    node.out->size = 0;
    node.out->wasReset = true;
    node.in->wasReset = true;
}

void SimulatedDescriptors::Reset(int socket) {
    Scheduler::Current().Point("resets its connection");
    ResetPeer(*Get(socket, "reset"));
    Close(socket);
}

int SimulatedDescriptors::OpenTcp() {
    const OutsideHub here;
    return Add(std::make_shared<Node>(Node::Kind::Unconnected));
}

int SimulatedDescriptors::Listen(int socket, InternetAddress& address, int) {
    const OutsideHub here;
    Scheduler::Current().Point("listens");
    if (IsListening()) {
        return -EADDRINUSE;
    }
    Get(socket, "listen")->kind = Node::Kind::Listener;
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
    while (node->waiting.empty() && !node->isShut && node->kind == Node::Kind::Listener) {
        scheduler.Wait("a peer to connect", this);
    }
    if (node->isShut || node->kind != Node::Kind::Listener) {
        return -EINVAL;
    }
    NodeReference accepted = std::move(node->waiting.front());
    node->waiting.pop_front();
    peer = {htonl(INADDR_LOOPBACK), htons(++lastPort)};
    return Add(std::move(accepted));
}

std::size_t SimulatedDescriptors::Take(Way& way, std::span<iovec> parts) {
    std::size_t room = 0;
    for (const iovec& part : parts) {
        room += part.iov_len;
    }
    if (random.OneIn(3)) {
        room = std::min(room, std::size_t{1} + random.Below(64));
    }
    std::size_t taken = 0;
    std::size_t place = 0;
    for (const iovec& part : parts) {
        for (std::size_t at = 0; at < part.iov_len && taken < room && way.HasArrived(); ++at) {
            static_cast<char*>(part.iov_base)[at] = way.pieces.front().bytes[place++];
            ++taken;
            if (place == way.pieces.front().bytes.size()) {
                way.pieces.pop_front();
                place = 0;
            }
        }
    }
    if (place != 0) {
        way.pieces.front().bytes.erase(0, place);
    }
    way.size -= taken;
    return taken;
}

ssize_t SimulatedDescriptors::Receive(int socket, std::span<iovec> parts, bool waits) {
    const OutsideHub here;
    Scheduler& scheduler = Scheduler::Current();
    const NodeReference node = Get(socket, "receive");
    scheduler.Point("receives");
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
            const std::size_t count = Take(way, parts);
            Changed();
            return static_cast<ssize_t>(count);
        }
        if (way.wasReset || way.EndHasArrived() || way.readerWantsNoMore) {
            return 0;
        }
        if (!waits) {
            return -EAGAIN;
        }
        scheduler.Wait("bytes to arrive", this, NextArrival(*node));
    }
}

std::uint64_t SimulatedDescriptors::NextArrival(const Node& node) {
    if (node.kind != Node::Kind::Socket) {
        return kNever;
    }
    const std::uint64_t now = Scheduler::Current().Now();
    const std::uint64_t next =
        node.in->pieces.empty() ? node.in->lastArrival : node.in->pieces.front().arrival;
    return next > now ? next : kNever;
}

ssize_t SimulatedDescriptors::Send(int socket, std::string_view text) {
    const OutsideHub here;
    const NodeReference node = Get(socket, "send");
    Scheduler::Current().Point("sends");
    Way& way = *node->out;
    if (way.wasReset || way.readerHasGone) {
        return -ECONNRESET;
    }
    if (way.ended || node->kind != Node::Kind::Socket) {
        return -EPIPE;
    }
    std::size_t count = std::min(text.size(), capacity - way.size);
    if (count > 1 && random.OneIn(8)) {
        count = 1 + random.Below(count);
    }
    if (count == 0) {
        return -EAGAIN;
    }
    way.lastArrival = std::max(way.lastArrival, Scheduler::Current().Now() + Delay());
    way.pieces.push_back({std::string(text.substr(0, count)), way.lastArrival});
    way.size += count;
    Release(&way);
    Changed();
    return static_cast<ssize_t>(count);
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
    if (node->kind == Node::Kind::Socket) {
        Release(node->in.get());
        node->in->readerWantsNoMore = node->in->readerWantsNoMore || how != SHUT_WR;
        if (how != SHUT_RD && !node->out->ended) {
            node->out->ended = true;
            node->out->lastArrival =
                std::max(node->out->lastArrival, Scheduler::Current().Now() + Delay());
        }
    }
    Changed();
}

int SimulatedDescriptors::Unreceived(int socket) {
    const OutsideHub here;
    const NodeReference node = Get(socket, "ask for what is unreceived");
    std::size_t count = 0;
    for (const Way::Piece& piece : node->out->pieces) {
        count += piece.arrival > Scheduler::Current().Now() ? piece.bytes.size() : 0;
    }
    return static_cast<int>(count);
}

bool SimulatedDescriptors::HasPeerEnded(int socket) {
    const OutsideHub here;
    const Way& in = *Get(socket, "ask for the peer's end")->in;
    return in.wasReset || (in.ended && in.lastArrival <= Scheduler::Current().Now());
}

void SimulatedDescriptors::Close(int descriptor) {
    const OutsideHub here;
    if (descriptor < 0) {
        return;
    }
    const NodeReference node = Get(descriptor, "close");
    Scheduler::Current().Point("closes a descriptor");
    nodes.erase(descriptor);
    if (node->kind == Node::Kind::Socket) {
        if (node->in->size != 0) {
            ResetPeer(*node);
        }
        node->in->readerHasGone = true;
        node->out->ended = true;
    }
    for (const NodeReference& unaccepted : node->waiting) {
        ResetPeer(*unaccepted);
    }
    Changed();
}

int SimulatedDescriptors::OpenEvent() {
    const OutsideHub here;
    return Add(std::make_shared<Node>(Node::Kind::Event));
}

void SimulatedDescriptors::SetEvent(int event) {
    const OutsideHub here;
    const NodeReference node = Get(event, "set an event");
    node->isSet = true;
    Release(node.get());
    Changed();
    Scheduler::Current().QuietPoint();
}

bool SimulatedDescriptors::ClearEvent(int event) {
    const OutsideHub here;
    Scheduler::Current().QuietPoint();
    const NodeReference node = Get(event, "clear an event");
    Acquire(node.get());
    return std::exchange(node->isSet, false);
}

bool SimulatedDescriptors::IsReady(const Node& node, short events) const {
    switch (node.kind) {
        case Node::Kind::Event:
            return node.isSet;
        case Node::Kind::Socket:
            if (node.out->wasReset || node.out->readerHasGone) {
                return true;
            }
            return (events & POLLOUT) != 0 ? node.out->size <= capacity / 2
                                           : node.in->HasArrived() || node.in->EndHasArrived();
        default:
            return false;
    }
}

void SimulatedDescriptors::Poll(std::span<pollfd> waits) {
    const OutsideHub here;
    for (;;) {
        for (const pollfd& wait : waits) {
            if (IsReady(*Get(wait.fd, "poll"), wait.events)) {
                return;
            }
        }
        Scheduler::Current().Wait("one of some events", this);
    }
}

int SimulatedDescriptors::OpenPoller() {
    const OutsideHub here;
    return Add(std::make_shared<Node>(Node::Kind::Poller));
}

int SimulatedDescriptors::AddToPoller(int poller, int descriptor, short events) {
    const OutsideHub here;
    const NodeReference watched = Get(descriptor, "watch");
    Get(poller, "watch with")->watched[descriptor] = {events, watched};
    Changed();
    return 0;
}

void SimulatedDescriptors::RemoveFromPoller(int poller, int descriptor) {
    const OutsideHub here;
    Get(descriptor, "watch no more");
    Get(poller, "watch with")->watched.erase(descriptor);
}

void SimulatedDescriptors::WaitForPoller(int poller, int milliseconds) {
    const OutsideHub here;
    Scheduler& scheduler = Scheduler::Current();
    const NodeReference node = Get(poller, "wait with");
    const std::uint64_t deadline =
        milliseconds < 0 ? kNever
                         : scheduler.Now() + static_cast<std::uint64_t>(milliseconds) *
                                                 kNanosecondsPerMillisecond;
    scheduler.QuietPoint();
    for (;;) {
        for (const auto& [number, watch] : node->watched) {
            const NodeReference target = watch.second.lock();
            if (target && IsReady(*target, watch.first)) {
                return;
            }
        }
        if (scheduler.Now() >= deadline) {
            return;
        }
        scheduler.Wait("a socket that takes output", this, deadline);
    }
}

}  // namespace vantry::simulation
