#pragma once

#include <deque>
#include <map>
#include <memory>
#include <string>

#include "platform/descriptors.h"
#include "simulation/random.h"

namespace vantry::simulation {

/// Sockets, events and pollers in memory, whose bytes arrive in pieces and late as the seed
/// decides. Peers use the same calls as the hub, and Connect and Reset beside them. A descriptor
/// that is used or closed while it isn't open fails the run, and so does a full table.
class SimulatedDescriptors final : public Descriptors {
public:
    explicit SimulatedDescriptors(std::uint64_t seed);

    /// Connects to the socket that listens, and returns the peer's end, or -ECONNREFUSED.
    int Connect();
    /// Returns two connected sockets, as a plugged cable does.
    std::pair<int, int> Pair();
    /// Closes a peer's end so that the hub's end fails.
    void Reset(int socket);
    /// Returns how many descriptors are open.
    std::size_t CountOpen() const { return nodes.size(); }
    /// Returns the port that the hub listens on, or 0.
    bool IsListening() const;

    int OpenTcp() override;
    int Listen(int socket, InternetAddress& address, int backlog) override;
    int Accept(int socket, InternetAddress& peer) override;
    ssize_t Receive(int socket, std::span<iovec> parts, bool waits) override;
    ssize_t Send(int socket, std::string_view text) override;
    ssize_t SendParts(int socket, std::span<iovec> parts) override;
    void ShutDown(int socket, int how) override;
    int Unreceived(int socket) override;
    bool HasPeerEnded(int socket) override;
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
    struct Way;
    struct Node;
    using NodeReference = std::shared_ptr<Node>;

    int Add(NodeReference node);
    NodeReference Get(int number, const char* use) const;
    std::pair<NodeReference, NodeReference> Connected();
    static void ResetPeer(Node& node);
    std::size_t Take(Way& way, std::span<iovec> parts);
    std::uint64_t Delay();
    bool IsReady(const Node& node, short events) const;
    static std::uint64_t NextArrival(const Node& node);
    void Changed();

    Random random;
    /// One in how many calls meets an error that passes.
    const std::uint64_t errorOneIn;
    /// One in how many pieces is late; 0 for none.
    const std::uint64_t lateOneIn;
    const std::size_t capacity;
    std::map<int, NodeReference> nodes;
    std::uint16_t lastPort = 0;
};

}  // namespace vantry::simulation
