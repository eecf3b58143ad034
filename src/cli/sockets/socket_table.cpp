// The kernel's tables of sockets, read through netlink (sock_diag(7)).
//
// One request makes the kernel send all sockets of a family as a series of messages, each with a
// fixed head and attributes behind it. Only the attributes that the request names are sent. The
// kernel fills a datagram with as many messages as fit, and a datagram is never longer than the
// buffer here, so none is cut.

#include "cli/sockets/socket_table.h"

#include <arpa/inet.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <linux/sock_diag.h>
#include <linux/tcp.h>
#include <linux/unix_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <functional>

namespace vantry::cli {
namespace {

/// The states of TCP and of Unix sockets, which have the same numbers (tcp_states.h of the kernel).
constexpr std::uint32_t kEstablished = 1;
constexpr std::uint32_t kCloseWait = 8;
constexpr std::uint32_t kListening = 10;
constexpr std::size_t kBuffer = 65536;

Error NotTold(int number) {
    return {ErrorCode::Refused,
            std::string("the kernel doesn't list its sockets to this program: ") +
                std::strerror(number)};
}

/// Copies a structure out of the bytes. What the kernel sent less of stays zero.
template <typename Structure>
Structure CopyOf(const void* bytes, std::size_t length) {
    Structure copy{};
    std::memcpy(&copy, bytes, std::min(length, sizeof copy));
    return copy;
}

/// Calls `each` with the type, the bytes and the length of every attribute.
void ForAttributes(const std::byte* from, std::size_t length,
                   const std::function<void(int, const std::byte*, std::size_t)>& each) {
    while (length >= sizeof(rtattr)) {
        const auto head = CopyOf<rtattr>(from, length);
        if (head.rta_len < sizeof head || head.rta_len > length) {
            return;
        }
        each(head.rta_type, from + RTA_LENGTH(0), head.rta_len - RTA_LENGTH(0));
        const std::size_t step = std::min<std::size_t>(RTA_ALIGN(head.rta_len), length);
        from += step;
        length -= step;
    }
}

/// Walks through a datagram. Returns false when the kernel has sent everything.
Result<bool> ForMessages(const std::byte* from, std::size_t length,
                         const std::function<void(const std::byte*, std::size_t)>& each) {
    while (length >= sizeof(nlmsghdr)) {
        const auto head = CopyOf<nlmsghdr>(from, length);
        if (head.nlmsg_len < sizeof head || head.nlmsg_len > length) {
            return NotTold(EBADMSG);
        }
        const std::byte* const content = from + NLMSG_HDRLEN;
        const std::size_t size = head.nlmsg_len - NLMSG_HDRLEN;
        if (head.nlmsg_type == NLMSG_DONE) {
            return false;
        }
        if (head.nlmsg_type == NLMSG_ERROR) {
            return NotTold(-CopyOf<nlmsgerr>(content, size).error);
        }
        each(content, size);
        const std::size_t step = std::min<std::size_t>(NLMSG_ALIGN(head.nlmsg_len), length);
        from += step;
        length -= step;
    }
    return true;
}

/// Asks for all sockets that the request selects, and calls `each` with the content of every
/// message.
template <typename Request>
Outcome Dump(const Request& request,
             const std::function<void(const std::byte*, std::size_t)>& each) {
    const int netlink = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
    if (netlink < 0) {
        return NotTold(errno);
    }
    struct {
        nlmsghdr head;
        Request request;
    } message{};
    message.head.nlmsg_len = sizeof message;
    message.head.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    message.head.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    message.request = request;
    Result<bool> more = send(netlink, &message, sizeof message, 0) == sizeof message
                            ? Result<bool>(true)
                            : NotTold(errno);
    std::vector<std::byte> buffer(kBuffer);
    while (more && *more) {
        const ssize_t length = recv(netlink, buffer.data(), buffer.size(), 0);
        more = length > 0 ? ForMessages(buffer.data(), static_cast<std::size_t>(length), each)
                          : NotTold(length == 0 ? EBADMSG : errno);
    }
    close(netlink);
    return more ? Outcome(Done()) : Outcome(more.error());
}

UnixSocket UnixSocketOf(const std::byte* content, std::size_t length) {
    const auto head = CopyOf<unix_diag_msg>(content, length);
    UnixSocket found;
    found.inode = head.udiag_ino;
    found.isListening = head.udiag_state == kListening;
    const std::size_t skipped = std::min(length, std::size_t{NLMSG_ALIGN(sizeof head)});
    ForAttributes(content + skipped, length - skipped,
                  [&](int type, const std::byte* bytes, std::size_t size) {
                      if (type == UNIX_DIAG_NAME) {
                          found.path.assign(reinterpret_cast<const char*>(bytes), size);
                          found.path.erase(std::min(found.path.find('\0'), found.path.size()));
                      } else if (type == UNIX_DIAG_VFS) {
                          const auto file = CopyOf<unix_diag_vfs>(bytes, size);
                          found.fileDevice = file.udiag_vfs_dev;
                          found.fileInode = file.udiag_vfs_ino;
                      } else if (type == UNIX_DIAG_PEER) {
                          found.peer = CopyOf<std::uint32_t>(bytes, size);
                      } else if (type == UNIX_DIAG_RQLEN && !found.isListening) {
                          found.unreadBytes = CopyOf<unix_diag_rqlen>(bytes, size).udiag_rqueue;
                      } else if (type == UNIX_DIAG_UID) {
                          found.user = CopyOf<std::uint32_t>(bytes, size);
                      }
                  });
    return found;
}

std::string AddressText(const std::uint32_t* address) {
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, address, text.data(), text.size());
    return text.data();
}

TcpSocket TcpSocketOf(const std::byte* content, std::size_t length) {
    const auto head = CopyOf<inet_diag_msg>(content, length);
    TcpSocket found;
    found.inode = head.idiag_inode;
    found.isListening = head.idiag_state == kListening;
    found.localPort = ntohs(head.id.idiag_sport);
    found.remotePort = ntohs(head.id.idiag_dport);
    found.localAddress = AddressText(head.id.idiag_src);
    found.remoteAddress = AddressText(head.id.idiag_dst);
    found.user = head.idiag_uid;
    if (found.isListening) {
        return found;
    }
    found.unreadBytes = head.idiag_rqueue;
    found.unsentBytes = head.idiag_wqueue;
    const std::size_t skipped = std::min(length, std::size_t{NLMSG_ALIGN(sizeof head)});
    ForAttributes(content + skipped, length - skipped,
                  [&](int type, const std::byte* bytes, std::size_t size) {
                      constexpr std::size_t kNeeded =
                          offsetof(tcp_info, tcpi_bytes_received) + sizeof(std::uint64_t);
                      if (type == INET_DIAG_INFO && size >= kNeeded) {
                          const auto info = CopyOf<tcp_info>(bytes, size);
                          found.acknowledgedBytes = info.tcpi_bytes_acked;
                          found.receivedBytes = info.tcpi_bytes_received;
                          found.idleMilliseconds =
                              std::min(info.tcpi_last_data_sent, info.tcpi_last_data_recv);
                      }
                  });
    return found;
}

}  // namespace

Result<std::vector<UnixSocket>> ReadUnixSockets() {
    unix_diag_req request{};
    request.sdiag_family = AF_UNIX;
    request.udiag_states = 1U << kEstablished | 1U << kListening;
    request.udiag_show =
        UDIAG_SHOW_NAME | UDIAG_SHOW_VFS | UDIAG_SHOW_PEER | UDIAG_SHOW_RQLEN | UDIAG_SHOW_UID;
    std::vector<UnixSocket> all;
    const Outcome read = Dump(request, [&](const std::byte* content, std::size_t length) {
        all.push_back(UnixSocketOf(content, length));
    });
    return read ? Result<std::vector<UnixSocket>>(std::move(all)) : read.error();
}

Result<std::vector<TcpSocket>> ReadTcpSockets() {
    inet_diag_req_v2 request{};
    request.sdiag_family = AF_INET;
    request.sdiag_protocol = IPPROTO_TCP;
    request.idiag_ext = 1U << (INET_DIAG_INFO - 1);
    request.idiag_states = 1U << kEstablished | 1U << kCloseWait | 1U << kListening;
    std::vector<TcpSocket> all;
    const Outcome read = Dump(request, [&](const std::byte* content, std::size_t length) {
        all.push_back(TcpSocketOf(content, length));
    });
    return read ? Result<std::vector<TcpSocket>>(std::move(all)) : read.error();
}

}  // namespace vantry::cli
