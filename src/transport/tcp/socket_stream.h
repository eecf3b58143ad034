#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "transport/stream/stream.h"

namespace vantry {

/// An external stream to a peer that has an IPv4 address.
class SocketStream : public Stream {
public:
    /// Return the address and the port of the peer, both in network byte order. Nothing in the hub
    /// calls them; a debugger shows by them whom a session serves.
    std::uint32_t RemoteAddress() const { return remoteAddress; }
    std::uint16_t RemotePort() const { return remotePort; }

protected:
    SocketStream(std::uint32_t address, std::uint16_t port,
                 std::shared_ptr<ConnectionAccount> account)
        : Stream(std::move(account)), remoteAddress(address), remotePort(port) {}

private:
    const std::uint32_t remoteAddress;
    const std::uint16_t remotePort;
};

}  // namespace vantry
