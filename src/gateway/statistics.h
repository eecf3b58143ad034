#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace vantry::gateway {

/// What the gateway counts about itself. Used by the thread of the server only.
struct Statistics {
    std::size_t connections = 0;
    std::size_t streams = 0;
    std::uint64_t accepted = 0;
    /// Connections that were closed because they kept the gateway waiting, or to make room.
    std::uint64_t closedForTime = 0;
    std::uint64_t closedForRoom = 0;
    std::uint64_t changesReceived = 0;
    std::uint64_t eventsMade = 0;
    std::uint64_t bytesSent = 0;
    /// Responses by their status.
    std::map<unsigned, std::uint64_t> responses;
    /// Writes by how they ended: "seen", "unseen", "refused", "failed".
    std::map<std::string, std::uint64_t> writes;
};

}  // namespace vantry::gateway
