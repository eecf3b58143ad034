#include "runtime/service_notify.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace vantry {

void NotifyServiceManager(std::string_view state) {
    const char* const variable = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string_view path = variable == nullptr ? "" : variable;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        return;
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    if (path.front() == '@') {
        address.sun_path[0] = '\0';  // The socket is in the abstract name space.
    }
    const int number = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (number < 0) {
        return;
    }
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    sendto(number, state.data(), state.size(), MSG_NOSIGNAL,
           reinterpret_cast<const sockaddr*>(&address), size);
    close(number);
}

}  // namespace vantry
