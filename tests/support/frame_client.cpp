// A client on a blocking socket.
//
// It writes and reads frames by itself instead of using the client library, so that a fault of the
// library can't hide one of the hub. Before each receive it polls with the timeout of Eventually,
// so a hub that doesn't answer fails the test instead of blocking it.

#include "support/frame_client.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <utility>

#include "support/eventually.h"
#include "support/messages.h"

namespace vantry::test {
namespace {

int Connect(int family, const void* address, socklen_t size) {
    const int descriptor = socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(connect(descriptor, static_cast<const sockaddr*>(address), size), 0)
        << std::strerror(errno);
    return descriptor;
}

}  // namespace

FrameClient FrameClient::ToUnixSocket(const std::filesystem::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    return FrameClient(Connect(AF_UNIX, &address, sizeof address));
}

FrameClient FrameClient::ToTcp(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return FrameClient(Connect(AF_INET, &address, sizeof address));
}

FrameClient::FrameClient(FrameClient&& other) noexcept
    : descriptor(std::exchange(other.descriptor, -1)) {}

void FrameClient::Close() {
    if (const int old = std::exchange(descriptor, -1); old >= 0) {
        close(old);
    }
}

void FrameClient::Reset() {
    const linger hard{.l_onoff = 1, .l_linger = 0};
    setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    Close();
}

void FrameClient::ShutDownSending() { shutdown(descriptor, SHUT_WR); }

void FrameClient::ReceiveLittle() const {
    const int bytes = 4096;
    setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
}

void FrameClient::GiveUpSendingAfter(int milliseconds) const {
    const timeval time{milliseconds / 1000, milliseconds % 1000 * 1000};
    setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
}

void FrameClient::Skim() const {
    std::array<char, 65536> ignored;
    static_cast<void>(recv(descriptor, ignored.data(), ignored.size(), MSG_DONTWAIT));
}

void FrameClient::Send(std::string_view text) { SendBytes(FrameOf(text)); }

void FrameClient::SendBytes(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) {
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

bool FrameClient::HearsWithin(int milliseconds) const {
    pollfd wait{descriptor, POLLIN, 0};
    return poll(&wait, 1, milliseconds) > 0;
}

bool FrameClient::ReceiveBytes(char* buffer, std::size_t count) {
    while (count > 0) {
        if (!HearsWithin(kPatienceMilliseconds)) {
            ADD_FAILURE() << "nothing came";
            return false;
        }
        const ssize_t got = recv(descriptor, buffer, count, 0);
        if (got <= 0) {
            return false;
        }
        buffer += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

std::optional<std::string> FrameClient::Receive() {
    std::string head(Frame::kHeadBytes, '\0');
    if (!ReceiveBytes(head.data(), head.size())) {
        return std::nullopt;
    }
    EXPECT_EQ(head.substr(0, Frame::kMagicBytes), FrameOf("").substr(0, Frame::kMagicBytes));
    std::uint32_t length = 0;
    std::memcpy(&length, head.data() + Frame::kMagicBytes, sizeof length);
    std::string text(length, '\0');
    if (!ReceiveBytes(text.data(), text.size())) {
        return std::nullopt;
    }
    return text;
}

std::optional<std::string> FrameClient::ReceiveUntil(std::string_view part) {
    for (;;) {
        std::optional<std::string> text = Receive();
        if (!text || text->find(part) != std::string::npos) {
            return text;
        }
    }
}

std::optional<std::string> FrameClient::Ask(std::string_view text) {
    Send(text);
    return Receive();
}

bool FrameClient::SeesEnd() {
    std::array<char, 65536> ignored;
    while (HearsWithin(kPatienceMilliseconds)) {
        if (recv(descriptor, ignored.data(), ignored.size(), 0) <= 0) {
            return true;
        }
    }
    return false;
}

}  // namespace vantry::test
