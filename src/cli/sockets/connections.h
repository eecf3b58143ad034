#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "cli/sockets/processes.h"
#include "runtime/result.h"

namespace vantry::cli {

/// A connection of a client to the hub of this machine. What the kernel doesn't report is empty.
struct Connection {
    /// "local", "USB", "Bluetooth" or "TCP".
    const char* link = "";
    /// The client as "10.0.0.7:40112"; TCP only.
    std::string address;
    /// The client's process, if it runs on this machine and this user may look into it.
    std::optional<Process> process;
    /// The user of the client's process, if it runs on this machine.
    std::optional<std::uint32_t> user;
    /// The bytes that the hub has sent and the client hasn't taken, as far as the kernel has them:
    /// more may wait inside the hub.
    std::uint64_t untakenBytes = 0;
    /// The bytes that the client has received and sent, and the time since either; TCP only.
    std::optional<std::uint64_t> sentBytes;
    std::optional<std::uint64_t> receivedBytes;
    std::optional<std::uint32_t> idleMilliseconds;
};

/// The sockets of a hub on this machine.
struct HubSockets {
    /// The process of the hub, if this user may look into it.
    std::optional<Process> process;
    /// The TCP port at which it listens, if it is known.
    std::optional<std::uint16_t> port;
    std::vector<Connection> connections;
};

/// Returns the sockets of the hub that listens at the local device with this path, with the
/// connections in the order of their links. The port is that of the hub's process or, if this user
/// can't look into that, the default one if the same user listens there. Returns NoConnection if
/// nothing listens at the path, and Refused if the kernel doesn't list its sockets.
Result<HubSockets> ReadHubSockets(const std::filesystem::path& device);
/// Returns the connections to what listens at a TCP port of this machine. Returns NoConnection if
/// nothing does.
Result<HubSockets> ReadHubSockets(std::uint16_t port);

}  // namespace vantry::cli
