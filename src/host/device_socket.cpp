// Listening sockets in the devices directory.
//
// The file of a socket outlives a process that was killed, and bind refuses an existing file, so a
// socket that was left is removed first. A file of another kind is kept, and bind then reports it.
// Only the owner and the group may connect. The mode is set by the umask of the process while bind
// creates the file, because there would be a moment with too many rights if it were changed
// afterwards. The umask belongs to the whole process, so sockets are only made before the hub's
// threads start.

#include "host/device_socket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace vantry {
namespace {

constexpr mode_t kMode = 0660;
/// Many clients may connect before the hub has started, and wait to be accepted.
constexpr int kBacklog = 1024;

/// Binds the socket to its file, which has kMode when it appears.
bool Bind(int descriptor, const sockaddr_un& address) {
    const mode_t before = umask(0777 & ~kMode);
    const bool bound =
        bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    umask(before);
    return bound;
}

void RemoveLeftSocket(const std::filesystem::path& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) {
        unlink(path.c_str());
    }
}

}  // namespace

std::unique_ptr<DeviceSocket> DeviceSocket::Make(const std::filesystem::path& directory,
                                                 const std::string& name, std::string& error) {
    const std::filesystem::path path = directory / name;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.native().size() >= sizeof address.sun_path) {
        error = "the name of a socket is too long: " + path.string();
        return nullptr;
    }
    std::memcpy(address.sun_path, path.c_str(), path.native().size());
    RemoveLeftSocket(path);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0 || !Bind(descriptor, address) || listen(descriptor, kBacklog) != 0) {
        error = std::string("a socket can't be made: ") + std::strerror(errno);
        close(descriptor);
        return nullptr;
    }
    return std::unique_ptr<DeviceSocket>(new DeviceSocket(path, descriptor));
}

DeviceSocket::DeviceSocket(std::filesystem::path file, int listening)
    : path(std::move(file)), descriptor(listening) {}

DeviceSocket::~DeviceSocket() {
    unlink(path.c_str());
    close(descriptor);
}

}  // namespace vantry
