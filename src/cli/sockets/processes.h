#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

namespace vantry::cli {

/// A process of this machine.
struct Process {
    int id = 0;
    /// The name of its program without folders, and its arguments.
    std::string command;
};

/// Returns the process behind each socket, by the inode of the socket, as far as this user may look
/// into processes: root into all, others into their own. Of several that share a socket, the one
/// with the smallest id counts.
std::unordered_map<std::uint32_t, Process> ReadSocketOwners();

/// Returns the name of the user, or the number if it has none.
std::string UserName(std::uint32_t user);

}  // namespace vantry::cli
