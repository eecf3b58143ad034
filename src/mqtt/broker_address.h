#pragma once

#include <cstdint>
#include <string>

#include "runtime/result.h"

namespace vantry::mqtt {

/// Where a broker listens, and whether the connection is encrypted.
struct BrokerAddress {
    /// Parses "mqtt://HOST[:PORT]" or "mqtts://HOST[:PORT]"; an IPv6 address stands in brackets.
    /// The ports are 1883 and 8883 by default. Returns Refused for any other text.
    static Result<BrokerAddress> Parse(const std::string& text);

    /// Returns whether the host is this machine: "localhost" or a loopback address.
    bool IsLoopback() const;
    /// Returns the text that Parse reads, with the port.
    std::string Name() const;

    bool isEncrypted = false;
    std::string host = {};
    std::uint16_t port = 0;
};

}  // namespace vantry::mqtt
