// Whatever a client sends, the gateway answers with whole responses of HTTP or closes, and nothing
// of the connection is left.
//
// The connection is that of the program, over a pair of sockets. The input is sent as a whole and
// then the sending side is closed, so every connection ends by itself, unless it waits for an
// answer of the hub.

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <boost/asio/io_context.hpp>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "gateway/connection.h"
#include "gateway_sample.h"

namespace {

using vantry::fuzz::GatewaySample;
using namespace vantry::gateway;

class Answering final : public RequestHandler {
public:
    explicit Answering(GatewaySample& asked) : sample(asked) {}
    std::optional<Response> Refusal(const Request& request) override {
        return sample.api.Refusal(request);
    }
    void Handle(Request request, Reply reply) override { sample.api.Handle(request, reply); }
    void Tick() override {}

private:
    GatewaySample& sample;
};

/// Takes what has arrived at this end. Returns whether anything has.
bool Receive(int end, std::string& heard) {
    std::array<char, 65536> part{};
    const ssize_t count = recv(end, part.data(), part.size(), MSG_DONTWAIT);
    heard.append(part.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    return count > 0;
}

/// A body can hold anything, so the first response is looked at alone.
void Check(const std::string& heard) {
    if (!heard.empty() &&
        (!heard.starts_with("HTTP/1.1 ") || heard.find("\r\n\r\n") == std::string::npos)) {
        std::abort();
    }
    const std::string head = heard.substr(0, heard.find("\r\n\r\n"));
    if (!heard.starts_with("HTTP/1.1 100") && !heard.empty() &&
        head.find("\r\nContent-Security-Policy: default-src 'none'") == std::string::npos) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kFitsIntoASocket = 100'000;
    std::array<int, 2> ends{};
    if (size > kFitsIntoASocket || socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0) {
        return 0;
    }
    Statistics statistics;
    // It keeps connections that wait for an answer, so it ends before what connections need.
    auto sample = std::make_unique<GatewaySample>(statistics);
    Answering handler(*sample);
    Surroundings surroundings{handler, statistics, {}};
    std::string heard;
    {
        asio::io_context context{1};
        Socket socket(context);
        socket.assign(asio::ip::tcp::v4(), ends[0]);
        std::make_shared<Connection<Socket>>(surroundings, std::move(socket), "127.0.0.1")->Start();
        if (send(ends[1], data, size, 0) != static_cast<ssize_t>(size)) {
            std::abort();
        }
        shutdown(ends[1], SHUT_WR);
        while (context.poll() > 0 || Receive(ends[1], heard)) {
        }
        sample.reset();
    }
    close(ends[1]);
    if (!surroundings.connections.empty() || statistics.streams != 0) {
        std::abort();
    }
    Check(heard);
    return 0;
}
