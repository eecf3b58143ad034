#include "host/rfcomm_socket.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace vantry {
namespace {

/// The kernel's protocol number and address structure, which are declared in no header of the
/// kernel or the C library.
constexpr int kRfcommProtocol = 3;
struct RfcommAddress {
    sa_family_t family;
    std::uint8_t device[6];
    std::uint8_t channel;
};

}  // namespace

int ListenOnRfcomm(std::uint8_t channel, std::string& error) {
    const int listening =
        socket(AF_BLUETOOTH, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, kRfcommProtocol);
    RfcommAddress address{};
    address.family = AF_BLUETOOTH;
    address.channel = channel;
    if (listening >= 0 &&
        bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        listen(listening, SOMAXCONN) == 0) {
        return listening;
    }
    error = std::strerror(errno);
    if (listening >= 0) {
        close(listening);
    }
    return -1;
}

}  // namespace vantry
