// Whether something answers at an address.
//
// A broker counts as reached when it accepts a connection: to log in would need the name and the
// certificates of the program that uses it, and might end that program's connection. A hub must
// answer as one, because another program may have its port.

#include "cli/doctor/reach.h"

#include <netdb.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "client/hub.h"

namespace vantry::cli {
namespace {

/// How long an attempt may take.
constexpr int kMilliseconds = 2000;

client::Outcome ReachHub(client::Endpoint endpoint) {
    client::Hub::Options options;
    options.deadlineMilliseconds = kMilliseconds;
    const auto hub = client::Hub::Connect(std::move(endpoint), options);
    return hub ? client::Outcome(client::Done()) : client::Outcome(hub.error());
}

/// Splits "mqtt[s]://HOST[:PORT]", where the host may be an IPv6 address in brackets.
std::pair<std::string, std::string> HostAndPort(const std::string& broker) {
    const std::size_t slashes = broker.find("://");
    std::string host = slashes == std::string::npos ? broker : broker.substr(slashes + 3);
    std::string port = broker.starts_with("mqtts") ? "8883" : "1883";
    const std::size_t colon = host.rfind(':');
    if (colon != std::string::npos && host.find(']', colon) == std::string::npos) {
        port = host.substr(colon + 1);
        host.resize(colon);
    }
    if (host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
    }
    return {host, port};
}

}  // namespace

int ConnectError(const sockaddr* address, socklen_t length) {
    const int descriptor =
        socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0) {
        return errno;
    }
    int number = connect(descriptor, address, length) != 0 ? errno : 0;
    if (number == EINPROGRESS) {
        pollfd wait{descriptor, POLLOUT, 0};
        socklen_t size = sizeof number;
        if (poll(&wait, 1, kMilliseconds) != 1) {
            number = ETIMEDOUT;
        } else if (getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &number, &size) != 0) {
            number = errno;
        }
    }
    close(descriptor);
    return number;
}

client::Outcome ReachBroker(const std::string& broker) {
    const auto [host, port] = HostAndPort(broker);
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (const int failed = getaddrinfo(host.c_str(), port.c_str(), &hints, &found); failed != 0) {
        return client::Error{client::ErrorCode::NoConnection, broker + ": " + gai_strerror(failed)};
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> addresses(found, &freeaddrinfo);
    int number = 0;
    for (const addrinfo* address = found; address != nullptr; address = address->ai_next) {
        number = ConnectError(address->ai_addr, address->ai_addrlen);
        if (number == 0) {
            return client::Done();
        }
    }
    return client::Error{client::ErrorCode::NoConnection, broker + ": " + std::strerror(number)};
}

client::Outcome ReachTcpHub(const std::string& address) {
    auto endpoint = client::Endpoint::ParseTcp(address);
    return endpoint ? ReachHub(std::move(*endpoint)) : client::Outcome(endpoint.error());
}

client::Outcome ReachDevice(const std::filesystem::path& device) {
    return ReachHub(client::Endpoint::Device(device.string()));
}

}  // namespace vantry::cli
