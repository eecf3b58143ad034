// Loads a server with requests of a fixed size:
//
//     compare_load PORT|PATH CONNECTIONS SECONDS REQUEST_FILE ANSWER_BYTES
//
// PORT is a TCP port on 127.0.0.1, PATH that of a Unix socket. Each connection has one request in
// flight: the next one is sent when the answer is complete. One thread serves all connections with
// epoll, so the load costs the same processor time for every kind of server. The connections are
// made one after the other, each with a first request. After 0.2 seconds of warming up it counts
// for SECONDS, or until the first answer, and prints the requests per second, the median and the
// 99th percentile of the latency in microseconds, and the number of all requests, warming up
// included.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace vantry::bench {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::duration;

constexpr std::chrono::milliseconds kWarmUp{200};
constexpr int kStalledMilliseconds = 5'000;
constexpr std::size_t kBufferBytes = 4U << 20U;

[[noreturn]] void Fail(const char* what) {
    std::perror(what);
    std::exit(1);
}

int Connect(const std::string& where) {
    const bool isPath = where.find('/') != std::string::npos;
    sockaddr_un local{};
    local.sun_family = AF_UNIX;
    std::strncpy(local.sun_path, where.c_str(), sizeof local.sun_path - 1);
    sockaddr_in tcp{};
    tcp.sin_family = AF_INET;
    tcp.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    tcp.sin_port = htons(static_cast<std::uint16_t>(std::atoi(where.c_str())));
    const int number = socket(isPath ? AF_UNIX : AF_INET, SOCK_STREAM, 0);
    const auto* const address = isPath ? reinterpret_cast<const sockaddr*>(&local)
                                       : reinterpret_cast<const sockaddr*>(&tcp);
    if (connect(number, address, isPath ? sizeof local : sizeof tcp) != 0) {
        Fail("compare_load: connect");
    }
    const int on = 1;
    setsockopt(number, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return number;
}

struct Connection {
    int number;
    std::size_t received = 0;
    Clock::time_point start{};
};

struct Result {
    std::vector<double> latencies;
    long all = 0;
};

class Load {
public:
    Load(const std::string& where, std::size_t count, std::string requestBytes, std::size_t size)
        : request(std::move(requestBytes)), answerBytes(size), buffer(kBufferBytes) {
        for (std::size_t index = 0; index < count; ++index) {
            connections.push_back({.number = Connect(where)});
            AwaitFirstAnswer(connections.back());
            epoll_event event{.events = EPOLLIN, .data = {.u64 = index}};
            epoll_ctl(poller, EPOLL_CTL_ADD, connections.back().number, &event);
        }
    }

    Result Run(double seconds) {
        const Clock::time_point counted = Clock::now() + kWarmUp;
        const Clock::time_point end =
            counted + std::chrono::duration_cast<Clock::duration>(duration<double>(seconds));
        for (Connection& connection : connections) {
            Ask(connection, Clock::now());
        }
        Result result;
        result.all = static_cast<long>(connections.size());
        std::array<epoll_event, 256> ready{};
        for (;;) {
            const int count = epoll_wait(poller, ready.data(), ready.size(), kStalledMilliseconds);
            if (count <= 0) {
                Fail("compare_load: no answer");
            }
            if (Clock::now() >= end && !result.latencies.empty()) {
                return result;
            }
            for (int place = 0; place < count; ++place) {
                Receive(connections[ready[static_cast<std::size_t>(place)].data.u64], counted,
                        result);
            }
        }
    }

private:
    /// A server accepts few connections at a time. A connection that waits too long to be accepted
    /// is tried again after seconds, so the next one is made when this one is known to be served.
    void AwaitFirstAnswer(Connection& connection) {
        Ask(connection, Clock::now());
        while (connection.received < answerBytes) {
            const ssize_t got = recv(connection.number, buffer.data(), buffer.size(), 0);
            if (got <= 0) {
                Fail("compare_load: first answer");
            }
            connection.received += static_cast<std::size_t>(got);
        }
    }

    void Ask(Connection& connection, Clock::time_point now) const {
        connection.start = now;
        connection.received = 0;
        if (send(connection.number, request.data(), request.size(), MSG_NOSIGNAL) < 0) {
            Fail("compare_load: send");
        }
    }

    void Receive(Connection& connection, Clock::time_point counted, Result& result) {
        const ssize_t got = recv(connection.number, buffer.data(), buffer.size(), 0);
        if (got <= 0) {
            Fail("compare_load: receive");
        }
        connection.received += static_cast<std::size_t>(got);
        if (connection.received < answerBytes) {
            return;
        }
        if (connection.received > answerBytes) {
            std::fprintf(stderr, "compare_load: the answer has another length\n");
            std::exit(1);
        }
        const Clock::time_point now = Clock::now();
        ++result.all;
        if (now > counted) {
            result.latencies.push_back(
                duration<double, std::micro>(now - connection.start).count());
        }
        Ask(connection, now);
    }

    const int poller = epoll_create1(0);
    const std::string request;
    const std::size_t answerBytes;
    std::vector<Connection> connections;
    std::vector<char> buffer;
};

}  // namespace
}  // namespace vantry::bench

int main(int argc, char** argv) {
    using namespace vantry::bench;
    if (argc != 6) {
        std::fprintf(
            stderr,
            "usage: compare_load PORT|PATH CONNECTIONS SECONDS REQUEST_FILE ANSWER_BYTES\n");
        return 2;
    }
    std::ifstream file(argv[4], std::ios::binary);
    const std::string request((std::istreambuf_iterator<char>(file)), {});
    const double seconds = std::atof(argv[3]);
    Load load(argv[1], std::strtoul(argv[2], nullptr, 10), request,
              std::strtoul(argv[5], nullptr, 10));
    Result result = load.Run(seconds);
    std::vector<double>& all = result.latencies;
    std::sort(all.begin(), all.end());
    std::printf("%.1f %.2f %.2f %ld\n", static_cast<double>(all.size()) / seconds,
                all[all.size() / 2], all[all.size() * 99 / 100], result.all);
    return 0;
}
