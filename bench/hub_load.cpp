// Measures a running hub over its links, and in the same run an echo server that receives and sends
// the same numbers of bytes:
//
//     hub_load PORT DEVICE [SECONDS]
//
// PORT is the hub's TCP port on 127.0.0.1, DEVICE the path of its PRN1 socket. For each link and 1,
// 16 and 64 connections it prints the requests per second and the latencies of both servers, and
// the ratio of their medians. Then 20 clients request everything and read nothing, and the
// latencies of four other clients are measured without and with them.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "sample_messages.h"
#include "transport/frame/frame.h"

namespace vantry::bench {
namespace {

using Clock = std::chrono::steady_clock;
using Connector = std::function<int()>;

std::string FrameOf(const std::string& text) {
    std::string frame(MessageFrameMagic.begin(), MessageFrameMagic.end());
    const auto length = static_cast<std::uint32_t>(text.size());
    frame.append(reinterpret_cast<const char*>(&length), sizeof length);
    return frame + text;
}

bool SendAll(int socket, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t sent = send(socket, bytes, count, MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        bytes += sent;
        count -= static_cast<std::size_t>(sent);
    }
    return true;
}

bool ReceiveAll(int socket, char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t got = recv(socket, bytes, count, 0);
        if (got <= 0) {
            return false;
        }
        bytes += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

int ConnectTcp(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    const int number = socket(AF_INET, SOCK_STREAM, 0);
    return connect(number, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 ? number
                                                                                       : -1;
}

sockaddr_un UnixAddress(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    return address;
}

int ConnectUnix(const std::string& path) {
    const sockaddr_un address = UnixAddress(path);
    const int number = socket(AF_UNIX, SOCK_STREAM, 0);
    return connect(number, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0
               ? number
               : -1;
}

/// Returns the length of the hub's answer with its head. Ends the program if there is none.
std::size_t AnswerSize(const Connector& connector, const std::string& request) {
    const int number = connector();
    std::array<char, Frame::kHeadBytes> head{};
    if (number < 0 || !SendAll(number, request.data(), request.size()) ||
        !ReceiveAll(number, head.data(), head.size())) {
        std::fprintf(stderr, "hub_load: no answer from the hub\n");
        std::exit(1);
    }
    std::uint32_t length = 0;
    std::memcpy(&length, head.data() + Frame::kMagicBytes, sizeof length);
    close(number);
    return Frame::kHeadBytes + length;
}

/// A process with a thread for each connection that answers each `requestBytes` bytes with
/// `answerBytes` others. It becomes the owner of the listening socket. The destructor ends the
/// process.
class EchoServer {
public:
    EchoServer(int listening, std::size_t requestBytes, std::size_t answerBytes) {
        process = fork();
        if (process == 0) {
            for (;;) {
                const int client = accept(listening, nullptr, nullptr);
                std::thread([=] { Serve(client, requestBytes, answerBytes); }).detach();
            }
        }
        close(listening);
    }
    ~EchoServer() {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
    EchoServer(const EchoServer&) = delete;
    EchoServer& operator=(const EchoServer&) = delete;

private:
    static void Serve(int client, std::size_t requestBytes, std::size_t answerBytes) {
        std::vector<char> request(requestBytes);
        const std::vector<char> answer(answerBytes, 'x');
        while (ReceiveAll(client, request.data(), requestBytes) &&
               SendAll(client, answer.data(), answerBytes)) {
        }
        close(client);
    }

    pid_t process;
};

/// Requests per second, and latencies in microseconds.
struct Measured {
    double perSecond;
    double median;
    double percentile99;
};

/// Sends requests one after the other on each of so many connections. Blocks for `seconds`.
Measured Measure(const Connector& connector, const std::string& request, std::size_t answerBytes,
                 int connections, double seconds) {
    std::vector<std::vector<double>> latencies(static_cast<std::size_t>(connections));
    std::vector<std::thread> clients;
    std::atomic<bool> stop{false};
    for (std::vector<double>& mine : latencies) {
        clients.emplace_back([&] {
            const int number = connector();
            std::vector<char> answer(answerBytes);
            while (!stop) {
                const auto start = Clock::now();
                if (!SendAll(number, request.data(), request.size()) ||
                    !ReceiveAll(number, answer.data(), answerBytes)) {
                    break;
                }
                mine.push_back(
                    std::chrono::duration<double, std::micro>(Clock::now() - start).count());
            }
            close(number);
        });
    }
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    stop = true;
    for (std::thread& client : clients) {
        client.join();
    }
    std::vector<double> all;
    for (const std::vector<double>& mine : latencies) {
        all.insert(all.end(), mine.begin(), mine.end());
    }
    if (all.empty()) {
        return {};
    }
    std::sort(all.begin(), all.end());
    return {static_cast<double>(all.size()) / seconds, all[all.size() / 2],
            all[all.size() * 99 / 100]};
}

void Print(const char* what, const Measured& measured) {
    std::printf("    %-4s %9.0f requests/s   median %7.1f us   99%% %8.1f us\n", what,
                measured.perSecond, measured.median, measured.percentile99);
}

void Compare(const char* link, const Connector& hub, const Connector& echo,
             const std::string& request, std::size_t answerBytes, double seconds) {
    for (const int connections : {1, 16, 64}) {
        std::printf("%s, %d connections\n", link, connections);
        const Measured bare = Measure(echo, request, answerBytes, connections, seconds);
        const Measured real = Measure(hub, request, answerBytes, connections, seconds);
        Print("echo", bare);
        Print("hub", real);
        std::printf("    hub/echo: median %.2f, requests/s %.2f\n", real.median / bare.median,
                    real.perSecond / bare.perSecond);
    }
}

/// Clients that request everything again and again and never read. The destructor disconnects them.
class Stalled {
public:
    Stalled(const Connector& connector, int count) {
        const std::string request = FrameOf(R"({"SubscribeAllCurrentAndNewProperties": true})");
        for (int client = 0; client < count; ++client) {
            const int number = connector();
            for (int ask = 0; ask < 200; ++ask) {
                send(number, request.data(), request.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
            }
            numbers.push_back(number);
        }
    }
    ~Stalled() { std::for_each(numbers.begin(), numbers.end(), close); }
    Stalled(const Stalled&) = delete;
    Stalled& operator=(const Stalled&) = delete;

private:
    std::vector<int> numbers;
};

int Listen(int family, const sockaddr* address, socklen_t size) {
    const int listening = socket(family, SOCK_STREAM, 0);
    bind(listening, address, size);
    listen(listening, 128);
    return listening;
}

void Run(std::uint16_t port, const std::string& device, double seconds) {
    const Connector hubTcp = [&] { return ConnectTcp(port); };
    const Connector hubLocal = [&] { return ConnectUnix(device); };
    const std::string request = FrameOf(SmallRequest());

    sockaddr_in tcpAddress{};
    tcpAddress.sin_family = AF_INET;
    tcpAddress.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const generic = reinterpret_cast<sockaddr*>(&tcpAddress);
    socklen_t size = sizeof tcpAddress;
    const int tcpListening = Listen(AF_INET, generic, size);
    getsockname(tcpListening, generic, &size);
    const std::size_t tcpAnswer = AnswerSize(hubTcp, request);
    {
        const EchoServer echo(tcpListening, request.size(), tcpAnswer);
        Compare(
            "TCP", hubTcp, [&] { return ConnectTcp(ntohs(tcpAddress.sin_port)); }, request,
            tcpAnswer, seconds);
    }
    const std::string echoPath = device + ".echo";
    const sockaddr_un unixAddress = UnixAddress(echoPath);
    const int unixListening =
        Listen(AF_UNIX, reinterpret_cast<const sockaddr*>(&unixAddress), sizeof unixAddress);
    const std::size_t localAnswer = AnswerSize(hubLocal, request);
    {
        const EchoServer echo(unixListening, request.size(), localAnswer);
        Compare(
            "PRN1", hubLocal, [&] { return ConnectUnix(echoPath); }, request, localAnswer, seconds);
    }
    unlink(echoPath.c_str());

    std::printf("TCP, 4 connections, and 20 clients that stop reading\n");
    Print("none", Measure(hubTcp, request, tcpAnswer, 4, seconds));
    const Stalled stalled(hubTcp, 20);
    Print("20", Measure(hubTcp, request, tcpAnswer, 4, seconds));
}

}  // namespace
}  // namespace vantry::bench

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: hub_load PORT DEVICE [SECONDS]\n");
        return 2;
    }
    vantry::bench::Run(static_cast<std::uint16_t>(std::atoi(argv[1])), argv[2],
                       argc > 3 ? std::atof(argv[3]) : 2.0);
    return 0;
}
