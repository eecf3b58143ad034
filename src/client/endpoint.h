#pragma once

#include <cstdint>
#include <string>

#include "client/result.h"
#include "runtime/hub_port.h"

namespace vantry::client {

/// An address at which a hub listens.
struct Endpoint {
    static constexpr std::uint16_t kDefaultPort = kHubPort;

    /// Returns the endpoint of the local device, whose socket has this path. Its clients may write.
    static Endpoint Device(std::string path);
    /// Returns the endpoint of a host name or address. Its clients see fewer properties and may not
    /// write.
    static Endpoint Tcp(std::string host, std::uint16_t port = kDefaultPort);
    /// Parses "HOST" or "HOST:PORT". Returns Refused for any other text, also an address of IPv6.
    static Result<Endpoint> ParseTcp(const std::string& text);

    /// Returns a name for messages: the path, or "HOST:PORT".
    std::string Name() const;

    /// The path of the local device; empty for TCP.
    std::string path;
    std::string host;
    std::uint16_t port = 0;
};

}  // namespace vantry::client
