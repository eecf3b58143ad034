// The least that a server can do: it receives so many bytes and sends so many others.
//
//     compare_echo REQUEST_BYTES ANSWER_BYTES twice|once|relay
//
// It listens on a free TCP port of 127.0.0.1, prints its number, and serves until it is killed.
// Each connection has a thread, which receives a request with two calls (32 bytes, then the rest)
// or with one. As a relay it answers nothing, and sends each request to all other connections.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace vantry::bench {
namespace {

constexpr std::size_t kHeadBytes = 32;

int Listen() {
    const int listening = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listening, generic, size) != 0 || listen(listening, 1024) != 0 ||
        getsockname(listening, generic, &size) != 0) {
        std::perror("compare_echo");
        std::exit(1);
    }
    std::printf("%d\n", ntohs(address.sin_port));
    std::fflush(stdout);
    return listening;
}

bool SendAll(int number, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(number, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

/// Receives requests until the peer or `answer` ends it. `answer` returns whether it could send.
template <typename Answer>
void Serve(int number, std::size_t requestBytes, std::size_t first, const Answer& answer) {
    std::vector<char> request(requestBytes);
    std::size_t received = 0;
    for (;;) {
        const std::size_t wanted = received == 0 ? first : requestBytes - received;
        const ssize_t got = recv(number, request.data() + received, wanted, 0);
        if (got <= 0) {
            break;
        }
        received += static_cast<std::size_t>(got);
        if (received == requestBytes) {
            received = 0;
            if (!answer({request.data(), requestBytes})) {
                break;
            }
        }
    }
    close(number);
}

void ServeAsRelay(int listening, std::size_t requestBytes) {
    std::mutex mutex;
    std::vector<int> numbers;
    for (;;) {
        const int number = accept(listening, nullptr, nullptr);
        const std::lock_guard guard(mutex);
        numbers.push_back(number);
        std::thread([=, &mutex, &numbers] {
            Serve(number, requestBytes, requestBytes, [&](std::string_view request) {
                const std::lock_guard sending(mutex);
                return std::all_of(numbers.begin(), numbers.end(), [&](int other) {
                    return other == number || SendAll(other, request);
                });
            });
        }).detach();
    }
}

void ServeWithThreads(int listening, std::size_t requestBytes, std::size_t first,
                      const std::string& answer) {
    for (;;) {
        const int number = accept(listening, nullptr, nullptr);
        std::thread([=, &answer] {
            Serve(number, requestBytes, first,
                  [&](std::string_view) { return SendAll(number, answer); });
        }).detach();
    }
}

}  // namespace
}  // namespace vantry::bench

int main(int argc, char** argv) {
    using namespace vantry::bench;
    if (argc != 4) {
        std::fprintf(stderr, "usage: compare_echo REQUEST_BYTES ANSWER_BYTES twice|once|relay\n");
        return 2;
    }
    const std::size_t requestBytes = std::strtoul(argv[1], nullptr, 10);
    const std::string answer(std::strtoul(argv[2], nullptr, 10), 'x');
    const std::string_view way = argv[3];
    const int listening = Listen();
    if (way == "relay") {
        ServeAsRelay(listening, requestBytes);
    }
    const std::size_t first = way == "twice" ? std::min(kHeadBytes, requestBytes) : requestBytes;
    ServeWithThreads(listening, requestBytes, first, answer);
    return 0;
}
