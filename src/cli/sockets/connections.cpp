// Who is connected to a hub, put together from the kernel's tables.
//
// The device sockets of a hub are Unix sockets in one folder. A socket that was accepted there has
// the file of the listening one, and names the client's socket as its peer; what that hasn't read
// yet is what the client hasn't taken. Files are compared by device and inode, because a hub may
// have bound a relative path or one with a symbolic link; where a file system tells other numbers
// through its files, the paths decide.
//
// Over TCP the hub's end tells what the other machine hasn't acknowledged. If the client is on this
// machine, its own socket, which has the same two addresses in reverse, adds what was acknowledged
// and not read, and leads to the process.

#include "cli/sockets/connections.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "cli/sockets/socket_table.h"
#include "runtime/hub_port.h"

namespace vantry::cli {
namespace {

using SocketOwners = std::unordered_map<std::uint32_t, Process>;

constexpr std::array<std::pair<const char*, const char*>, 3> kDevices = {
    {{"PRN1", "local"}, {"UMF1", "USB"}, {"BTD0", "Bluetooth"}}};

/// A file, by which its sockets are recognised.
class SocketFile {
public:
    SocketFile(const std::filesystem::path& named, const std::vector<UnixSocket>& sockets)
        : path(named.string()) {
        struct stat found {};
        if (stat(path.c_str(), &found) == 0) {
            // The kernel's own form of a device number has 20 bits for the minor part.
            device = major(found.st_dev) << 20U | minor(found.st_dev);
            inode = static_cast<std::uint32_t>(found.st_ino);
        }
        listening = FindListening(sockets);
        if (listening == nullptr) {
            inode = 0;
            listening = FindListening(sockets);
        }
    }

    /// Returns the socket that listens at the file, or null.
    const UnixSocket* Listening() const { return listening; }
    bool IsOf(const UnixSocket& socket) const {
        return inode != 0 ? socket.fileInode == inode && socket.fileDevice == device
                          : socket.path == path;
    }

private:
    const UnixSocket* FindListening(const std::vector<UnixSocket>& sockets) const {
        const auto found = std::find_if(
            sockets.begin(), sockets.end(),
            [&](const UnixSocket& socket) { return socket.isListening && IsOf(socket); });
        return found == sockets.end() ? nullptr : &*found;
    }

    std::string path;
    std::uint32_t device = 0;
    /// 0 if the path decides.
    std::uint32_t inode = 0;
    const UnixSocket* listening = nullptr;
};

std::optional<Process> OwnerOf(std::uint32_t inode, const SocketOwners& owners) {
    const auto found = owners.find(inode);
    return found == owners.end() ? std::nullopt : std::optional(found->second);
}

void AddUnixConnections(const std::vector<UnixSocket>& sockets, const SocketFile& file,
                        const char* link, const SocketOwners& owners,
                        std::vector<Connection>& into) {
    std::unordered_map<std::uint32_t, const UnixSocket*> byInode;
    for (const UnixSocket& socket : sockets) {
        byInode.emplace(socket.inode, &socket);
    }
    for (const UnixSocket& socket : sockets) {
        if (socket.isListening || socket.peer == 0 || !file.IsOf(socket)) {
            continue;
        }
        Connection connection;
        connection.link = link;
        if (const auto client = byInode.find(socket.peer); client != byInode.end()) {
            connection.process = OwnerOf(client->second->inode, owners);
            connection.user = client->second->user;
            connection.untakenBytes = client->second->unreadBytes;
        }
        into.push_back(std::move(connection));
    }
}

bool AreTwoEnds(const TcpSocket& one, const TcpSocket& other) {
    return std::tie(one.localPort, one.remotePort, one.localAddress, one.remoteAddress) ==
           std::tie(other.remotePort, other.localPort, other.remoteAddress, other.localAddress);
}

void AddTcpConnections(const std::vector<TcpSocket>& sockets, std::uint16_t port,
                       const SocketOwners& owners, std::vector<Connection>& into) {
    for (const TcpSocket& socket : sockets) {
        if (socket.isListening || socket.localPort != port) {
            continue;
        }
        Connection connection;
        connection.link = "TCP";
        connection.address = socket.remoteAddress + ":" + std::to_string(socket.remotePort);
        connection.untakenBytes = socket.unsentBytes;
        connection.sentBytes = socket.acknowledgedBytes;
        connection.receivedBytes = socket.receivedBytes;
        connection.idleMilliseconds = socket.idleMilliseconds;
        const auto client =
            std::find_if(sockets.begin(), sockets.end(),
                         [&](const TcpSocket& other) { return AreTwoEnds(socket, other); });
        if (client != sockets.end()) {
            connection.process = OwnerOf(client->inode, owners);
            connection.user = client->user;
            connection.untakenBytes += client->unreadBytes;
        }
        into.push_back(std::move(connection));
    }
}

bool Listens(const TcpSocket& socket, std::uint16_t port) {
    return socket.isListening && socket.localPort == port;
}

/// Returns the port of the hub's process, or the default one if the user of the hub listens there.
std::optional<std::uint16_t> PortOf(const HubSockets& hub, const UnixSocket& listening,
                                    const std::vector<TcpSocket>& sockets,
                                    const SocketOwners& owners) {
    for (const TcpSocket& socket : sockets) {
        const auto owner = OwnerOf(socket.inode, owners);
        if (hub.process ? socket.isListening && owner && owner->id == hub.process->id
                        : Listens(socket, kHubPort) && listening.user == socket.user) {
            return socket.localPort;
        }
    }
    return std::nullopt;
}

}  // namespace

Result<HubSockets> ReadHubSockets(const std::filesystem::path& device) {
    const auto unixSockets = ReadUnixSockets();
    if (!unixSockets) {
        return unixSockets.error();
    }
    const auto tcpSockets = ReadTcpSockets();
    if (!tcpSockets) {
        return tcpSockets.error();
    }
    const UnixSocket* const listening = SocketFile(device, *unixSockets).Listening();
    if (listening == nullptr) {
        return Error{ErrorCode::NoConnection, "no program listens at " + device.string()};
    }
    const SocketOwners owners = ReadSocketOwners();
    HubSockets hub;
    hub.process = OwnerOf(listening->inode, owners);
    hub.port = PortOf(hub, *listening, *tcpSockets, owners);
    for (const auto& [name, link] : kDevices) {
        const bool isLocal = name == kDevices.front().first;
        const SocketFile file(isLocal ? device : device.parent_path() / name, *unixSockets);
        AddUnixConnections(*unixSockets, file, link, owners, hub.connections);
    }
    if (hub.port) {
        AddTcpConnections(*tcpSockets, *hub.port, owners, hub.connections);
    }
    return hub;
}

Result<HubSockets> ReadHubSockets(std::uint16_t port) {
    const auto sockets = ReadTcpSockets();
    if (!sockets) {
        return sockets.error();
    }
    const SocketOwners owners = ReadSocketOwners();
    for (const TcpSocket& socket : *sockets) {
        if (Listens(socket, port)) {
            HubSockets hub;
            hub.process = OwnerOf(socket.inode, owners);
            hub.port = port;
            AddTcpConnections(*sockets, port, owners, hub.connections);
            return hub;
        }
    }
    return Error{ErrorCode::NoConnection,
                 "no program of this machine listens at port " + std::to_string(port)};
}

}  // namespace vantry::cli
