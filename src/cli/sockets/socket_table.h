#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "runtime/result.h"

namespace vantry::cli {

/// A Unix socket, as the kernel lists it.
struct UnixSocket {
    std::uint32_t inode = 0;
    bool isListening = false;
    /// The path to which it, or the listening socket that accepted it, is bound. Empty without one.
    std::string path;
    /// The file of that path: its device and its inode, or 0.
    std::uint32_t fileDevice = 0;
    std::uint32_t fileInode = 0;
    /// The inode of the socket at the other end, or 0.
    std::uint32_t peer = 0;
    /// The bytes that have arrived and that its program hasn't read.
    std::uint64_t unreadBytes = 0;
    std::optional<std::uint32_t> user;
};

/// A TCP socket of IPv4, as the kernel lists it.
struct TcpSocket {
    std::uint32_t inode = 0;
    bool isListening = false;
    std::uint16_t localPort = 0;
    std::uint16_t remotePort = 0;
    /// The addresses as "10.0.0.7".
    std::string localAddress;
    std::string remoteAddress;
    std::uint32_t user = 0;
    /// The bytes that have arrived and that its program hasn't read, and those that its program has
    /// sent and the other machine hasn't acknowledged.
    std::uint64_t unreadBytes = 0;
    std::uint64_t unsentBytes = 0;
    /// The bytes that the other machine has acknowledged and those that it has sent, and the time
    /// since one of the two last sent any, if the kernel reports them.
    std::optional<std::uint64_t> acknowledgedBytes;
    std::optional<std::uint64_t> receivedBytes;
    std::optional<std::uint32_t> idleMilliseconds;
};

/// These return all sockets of the network namespace. They need no special rights. They return
/// Refused if the kernel doesn't list its sockets to this program.
Result<std::vector<UnixSocket>> ReadUnixSockets();
Result<std::vector<TcpSocket>> ReadTcpSockets();

}  // namespace vantry::cli
