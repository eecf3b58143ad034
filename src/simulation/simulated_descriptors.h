#pragma once

#include <deque>
#include <map>
#include <memory>
#include <string>

#include "platform/descriptors.h"
#include "simulation/random.h"
#include "simulation/way.h"

namespace vantry::simulation {

/// Sockets, events and pollers in memory, whose bytes arrive in pieces and late as the seed
/// decides. Peers use the same calls as the hub, and those of the first group beside them. A
/// descriptor that is used or closed while it isn't open fails the run.
class SimulatedDescriptors final : public Descriptors {
public:
    explicit SimulatedDescriptors(std::uint64_t seed);

    /// Connects to the socket that listens, and returns the peer's end, or -ECONNREFUSED.
    int Connect();
    /// Returns the hub's and the peer's end of a connection, as a plugged cable is. The first is
    /// -EMFILE if the hub may open no more.
    std::pair<int, int> Pair();
    /// Sends all at once, as a driver of the system does that has room for everything. Returns a
    /// negative error number if the connection has ended.
    ssize_t SendAll(int socket, std::string_view text);
    /// Closes a peer's end so that the hub's end fails.
    void Reset(int socket);
    /// Returns whether the hub has taken the connection of a peer's end.
    bool IsServed(int socket) const { return Get(socket, "look at")->in->isServed; }
    /// Notes that the hub has taken the connection of its end.
    void SetServed(int socket) { Get(socket, "serve")->out->isServed = true; }
    /// Returns whether the hub can send no more to a peer's end.
    bool IsFull(int socket) const { return Get(socket, "look at")->in->Size() >= capacity; }
    /// Lets the hub have so many descriptors at a time.
    void SetMostOpen(std::size_t count) { mostOpen = count; }
    /// Returns how many descriptors the hub has.
    std::size_t CountOpen() const;
    bool IsListening() const;
    /// Blocks until a socket listens, or for so many nanoseconds. Returns whether one does.
    bool AwaitListener(std::uint64_t nanoseconds);

    int OpenTcp() override;
    int Listen(int socket, InternetAddress& address, int backlog) override;
    int Accept(int socket, InternetAddress& peer) override;
    ssize_t Receive(int socket, std::span<iovec> parts, bool waits) override;
    ssize_t Send(int socket, std::string_view text) override;
    ssize_t SendParts(int socket, std::span<iovec> parts) override;
    void ShutDown(int socket, int how) override;
    int Unreceived(int socket) override;
    bool HasPeerEnded(int socket) override;
    bool IsDisconnected(int socket) override;
    void Close(int descriptor) override;
    int OpenEvent() override;
    void SetEvent(int event) override;
    bool ClearEvent(int event) override;
    void Poll(std::span<pollfd> waits) override;
    int OpenPoller() override;
    int AddToPoller(int poller, int descriptor, short events) override;
    void RemoveFromPoller(int poller, int descriptor) override;
    void WaitForPoller(int poller, int milliseconds) override;

private:
    enum class Kind { Unconnected, Listener, Socket, Event, Poller };
    struct Node;
    using NodeReference = std::shared_ptr<Node>;

    struct Node {
        explicit Node(Kind whichKind) : kind(whichKind) {}

        Kind kind;
        bool isPeers = false;
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

    /// Gives the node a number. Returns -EMFILE if the hub may have no more.
    int Add(NodeReference node);
    NodeReference Get(int number, const char* use) const;
    bool IsReady(const Node& node, short events) const;
    /// Wakes all that wait for the node, or for one of several: they look again.
    void Changed(const Node& node);

    /// Returns the hub's and the peer's end of a new connection.
    static std::pair<NodeReference, NodeReference> Connected();
    static void ResetBoth(const Node& node);
    static ssize_t ErrorOfSending(const Node& node);
    /// Does what closing a socket does to its peer.
    static void Leave(const Node& node);
    std::uint64_t Delay();

    Random random;
    /// One in how many calls meets an error that passes.
    const std::uint64_t errorOneIn;
    /// One in how many pieces is late; 0 for none.
    const std::uint64_t lateOneIn;
    const std::size_t capacity;
    std::size_t mostOpen;
    std::map<int, NodeReference> nodes;
    std::uint16_t lastPort = 0;
};

}  // namespace vantry::simulation
