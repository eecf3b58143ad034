#pragma once

#include <poll.h>
#include <sys/types.h>
#include <sys/uio.h>

#include <cstdint>
#include <span>
#include <string_view>

namespace vantry {

/// An IPv4 address and a port, both in network byte order.
struct InternetAddress {
    std::uint32_t address = 0;
    std::uint16_t port = 0;
};

/// The system calls on descriptors. The hub makes them through this class only, so that a program
/// can give it other sockets than those of the system.
///
/// A result below 0 is the negated error number. Any thread may call any operation; those that
/// block say so. A descriptor belongs to the caller until Close. Calls that block are places where
/// a thread can be cancelled, if the caller allows it (see Interruptible).
class Descriptors {
public:
    /// Returns those of the operating system, which live as long as the process.
    static Descriptors& OfSystem();

    Descriptors() = default;
    virtual ~Descriptors() = default;
    Descriptors(const Descriptors&) = delete;
    Descriptors& operator=(const Descriptors&) = delete;

    /// Returns a new TCP socket.
    [[nodiscard]] virtual int OpenTcp() = 0;
    /// Binds a TCP socket, also to a port that closed connections still occupy, and listens on it.
    /// Sets `address` to what was bound. Returns 0.
    [[nodiscard]] virtual int Listen(int socket, InternetAddress& address, int backlog) = 0;
    /// Blocks until a peer has connected, and returns its socket; `peer` is then its address.
    [[nodiscard]] virtual int Accept(int socket, InternetAddress& peer) = 0;
    /// Receives bytes into the parts in their order. Returns their number, or 0 if the peer sends
    /// no more. Blocks until there are some, unless `waits` is false: it returns -EAGAIN then.
    [[nodiscard]] virtual ssize_t Receive(int socket, std::span<iovec> parts, bool waits) = 0;
    /// Sends as much as the socket takes without waiting and returns the number of bytes, or
    /// -EAGAIN if it takes nothing. Raises no signal.
    [[nodiscard]] virtual ssize_t Send(int socket, std::string_view text) = 0;
    /// Does the same with several texts.
    [[nodiscard]] virtual ssize_t SendParts(int socket, std::span<iovec> parts) = 0;
    /// Ends directions of a connected or listening socket, which ends the calls that block in them;
    /// `how` is SHUT_RD, SHUT_WR or SHUT_RDWR.
    virtual void ShutDown(int socket, int how) = 0;
    /// Returns how many bytes a socket has taken that its peer hasn't received. Returns 0 if that
    /// can't be found out or the peer has reset the connection.
    [[nodiscard]] virtual int Unreceived(int socket) = 0;
    /// Returns whether the peer of a TCP socket has ended its sending side, or is gone.
    [[nodiscard]] virtual bool HasPeerEnded(int socket) = 0;
    /// Returns whether the connection of a TCP socket has ended in both directions, as by a reset.
    /// A peer that has only ended its sending side still receives.
    [[nodiscard]] virtual bool IsDisconnected(int socket) = 0;
    /// Gives the descriptor back, of whichever kind.
    virtual void Close(int descriptor) = 0;

    /// Returns a new event: a flag that is readable while it is set.
    [[nodiscard]] virtual int OpenEvent() = 0;
    /// Makes an event of OpenEvent readable. Doesn't block.
    virtual void SetEvent(int event) = 0;
    /// Clears the event. Returns whether it was set.
    virtual bool ClearEvent(int event) = 0;
    /// Blocks until one of the descriptors is ready, like poll without a time limit. May return for
    /// no reason.
    virtual void Poll(std::span<pollfd> waits) = 0;

    /// Returns a new set of descriptors to wait for.
    [[nodiscard]] virtual int OpenPoller() = 0;
    /// Adds a descriptor, to be waited for until it is readable (POLLIN) or writable (POLLOUT).
    /// Returns 0.
    virtual int AddToPoller(int poller, int descriptor, short events) = 0;
    /// Removes a descriptor, if it is in the set.
    virtual void RemoveFromPoller(int poller, int descriptor) = 0;
    /// Blocks until a descriptor of the set is ready, or the time has passed, if it isn't negative.
    /// May return for no reason.
    virtual void WaitForPoller(int poller, int milliseconds) = 0;
};

}  // namespace vantry
