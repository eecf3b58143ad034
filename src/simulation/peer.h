#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "simulation/world.h"

namespace vantry::simulation {

/// A peer of the hub: a connection over one link, with a thread that receives. All operations but
/// Receive return at once or when the link has taken the bytes.
class Peer : public std::enable_shared_from_this<Peer> {
public:
    enum class Link { Local, Tcp, Usb, Bluetooth };

    static std::string NameOf(Link link);
    /// Returns the frame that has this text.
    static std::string FrameOf(std::string_view text);
    /// Connects. Returns an empty reference if nobody listens, or if a USB host is plugged in
    /// already.
    static std::shared_ptr<Peer> Connect(World& world, Link link, std::string name);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    bool IsExternal() const { return link != Link::Local; }
    const std::string& Name() const { return name; }

    /// Returns whether the hub has taken the connection. A local client's it takes at once.
    bool IsServed() const;

    /// Sends a text in a frame. Returns false if the connection has ended.
    bool Send(std::string_view text);
    /// Sends bytes as they are.
    bool SendBytes(std::string_view bytes);
    /// Returns the next text from the hub, or nothing if none has come in so many milliseconds or
    /// the connection has ended.
    std::optional<std::string> Receive(std::uint64_t milliseconds);
    /// Returns whether the hub has ended the connection and every text was received.
    bool HasEnded() const { return ended && texts.empty(); }

    /// Returns whether the hub has ended a link other than the local one, whatever was read.
    bool LinkHasEnded() const {
        return closed || world.descriptors.HasPeerEnded(static_cast<int>(number));
    }

    /// Returns whether such a link is full of what the hub has sent.
    bool LinkIsFull() const {
        return !closed && world.descriptors.IsFull(static_cast<int>(number));
    }

    /// Stops or goes on taking bytes from the link.
    void SetReading(bool reads);
    /// Ends the sending direction only, where the link can.
    void EndSending();
    /// Ends the connection.
    void Close();
    /// Ends the connection without order.
    void Reset();

private:
    Peer(World& machine, Link kind, std::string shownName)
        : world(machine), link(kind), name(std::move(shownName)) {}

    static int ConnectBy(World& world, Link link);
    void ReadAll();
    std::int32_t ReadSome(char* buffer, std::uint32_t size) const;
    void TakeFrames();

    World& world;
    const Link link;
    const std::string name;
    /// The handle of the local device or the descriptor.
    std::uint32_t number = 0;
    bool reading = true;
    bool closed = false;
    bool ended = false;
    bool readerIsDone = false;
    std::string bytes;
    std::deque<std::string> texts;
};

}  // namespace vantry::simulation
