// Calls on descriptors, by the operating system.
//
// Each operation is one system call, or the few that belong together; nothing is kept between the
// calls. The callers decide what an error means.

#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <new>
#include <optional>

#include "platform/descriptors.h"

namespace vantry {
namespace {

/// Returns a result of a system call, or the negated error number.
template <typename Result>
Result OrError(Result result) {
    return result < 0 ? static_cast<Result>(-errno) : result;
}

msghdr MessageOf(std::span<iovec> parts) {
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    return message;
}

/// Returns the state of a TCP connection, or nothing for a socket of another kind.
std::optional<int> StateOf(int number) {
    tcp_info info{};
    socklen_t size = sizeof info;
    if (getsockopt(number, IPPROTO_TCP, TCP_INFO, &info, &size) != 0) {
        return std::nullopt;
    }
    return info.tcpi_state;
}

class SystemDescriptors final : public Descriptors {
public:
    int OpenTcp() override { return OrError(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)); }

    int Listen(int number, InternetAddress& address, int backlog) override {
        const int on = 1;
        setsockopt(number, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in bound{};
        bound.sin_family = AF_INET;
        bound.sin_addr.s_addr = address.address;
        bound.sin_port = address.port;
        socklen_t size = sizeof bound;
        auto* const generic = reinterpret_cast<sockaddr*>(&bound);
        if (bind(number, generic, size) != 0 || listen(number, backlog) != 0 ||
            getsockname(number, generic, &size) != 0) {
            return -errno;
        }
        address = {bound.sin_addr.s_addr, bound.sin_port};
        return 0;
    }

    int Accept(int number, InternetAddress& peer) override {
        sockaddr_in from{};
        socklen_t size = sizeof from;
        const int accepted =
            OrError(accept4(number, reinterpret_cast<sockaddr*>(&from), &size, SOCK_CLOEXEC));
        peer = {from.sin_addr.s_addr, from.sin_port};
        return accepted;
    }

    ssize_t Receive(int number, std::span<iovec> parts, bool waits) override {
        const int flags = waits ? 0 : MSG_DONTWAIT;
        if (parts.size() == 1) {
            // The system copies no description of the parts then.
            return OrError(recv(number, parts[0].iov_base, parts[0].iov_len, flags));
        }
        msghdr message = MessageOf(parts);
        return OrError(recvmsg(number, &message, flags));
    }

    ssize_t Send(int number, std::string_view text) override {
        return OrError(send(number, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL));
    }

    ssize_t SendParts(int number, std::span<iovec> parts) override {
        const msghdr message = MessageOf(parts);
        return OrError(sendmsg(number, &message, MSG_DONTWAIT | MSG_NOSIGNAL));
    }

    void ShutDown(int number, int how) override { shutdown(number, how); }

    int Unreceived(int number) override {
        int queued = 0;
        if (ioctl(number, SIOCOUTQ, &queued) != 0 || queued == 0) {
            return 0;
        }
        // A connection that was reset goes on counting what its peer will never receive.
        return IsDisconnected(number) ? 0 : queued;
    }

    bool HasPeerEnded(int number) override {
        switch (StateOf(number).value_or(TCP_CLOSE)) {
            case TCP_ESTABLISHED:
            case TCP_FIN_WAIT1:
            case TCP_FIN_WAIT2:
                return false;
            default:
                return true;
        }
    }

    bool IsDisconnected(int number) override { return StateOf(number) == TCP_CLOSE; }

    void Close(int descriptor) override { close(descriptor); }

    int OpenEvent() override { return OrError(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)); }

    void SetEvent(int event) override {
        const std::uint64_t one = 1;
        static_cast<void>(!write(event, &one, sizeof one));
    }

    bool ClearEvent(int event) override {
        std::uint64_t count = 0;
        return read(event, &count, sizeof count) == sizeof count;
    }

    void Poll(std::span<pollfd> waits) override { poll(waits.data(), waits.size(), -1); }

    int OpenPoller() override { return OrError(epoll_create1(EPOLL_CLOEXEC)); }

    int AddToPoller(int poller, int descriptor, short events) override {
        epoll_event event{.events = static_cast<std::uint32_t>(events), .data = {.fd = descriptor}};
        return OrError(epoll_ctl(poller, EPOLL_CTL_ADD, descriptor, &event));
    }

    void RemoveFromPoller(int poller, int descriptor) override {
        epoll_ctl(poller, EPOLL_CTL_DEL, descriptor, nullptr);
    }

    void WaitForPoller(int poller, int milliseconds) override {
        std::array<epoll_event, 64> ready;
        epoll_wait(poller, ready.data(), static_cast<int>(ready.size()), milliseconds);
    }
};

static_assert(EPOLLIN == POLLIN && EPOLLOUT == POLLOUT);

}  // namespace

Descriptors& Descriptors::OfSystem() {
    // It is never destroyed, because threads and other static objects use it until the process
    // ends.
    alignas(SystemDescriptors) static std::array<std::byte, sizeof(SystemDescriptors)> memory;
    static SystemDescriptors& system = *new (memory.data()) SystemDescriptors;
    return system;
}

}  // namespace vantry
