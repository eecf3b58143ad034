#pragma once

#include <cstdint>
#include <string>

#include "client/result.h"

namespace vantry::client {

/// Where a hub listens.
struct Endpoint {
    static constexpr std::uint16_t kDefaultPort = 9102;

    /// The local device: the path of its socket. Its clients may write.
    static Endpoint Device(std::string path);
    /// A host by name or address. Its clients see less and may not write.
    static Endpoint Tcp(std::string host, std::uint16_t port = kDefaultPort);
    /// "HOST", "HOST:PORT".
    static Result<Endpoint> ParseTcp(const std::string& text);

    /// For people.
    std::string Name() const;

    /// The path of the local device; empty for TCP.
    std::string path;
    std::string host;
    std::uint16_t port = 0;
};

}  // namespace vantry::client
