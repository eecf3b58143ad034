#include "transport/socket/socket_output.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include "support/eventually.h"
#include "support/frame_client.h"
#include "transport/socket/output_flusher.h"

namespace vantry {
namespace {

using test::Eventually;

/// A connected pair of sockets with small buffers: `output` writes to one, and `peer` is the other.
class Connection {
public:
    explicit Connection(OutputLimits limits = {}) {
        std::array<int, 2> ends{};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
        const int bytes = 8192;
        setsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes);
        socket = std::make_shared<SocketDescriptor>(Descriptors::OfSystem(), ends[0]);
        peer = ends[1];
        output = SocketOutput::Make(socket, flusher, limits);
    }
    ~Connection() {
        flusher->Stop();
        close(peer);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    int Write(const std::string& frame) {
        return output->Write(reinterpret_cast<const std::uint8_t*>(frame.data()), frame.size());
    }
    /// Reads until the end of the stream or until it has `atMost` bytes.
    std::string ReadAll(std::size_t atMost) const {
        std::string all(atMost, '\0');
        std::size_t got = 0;
        for (ssize_t count = 1; got < atMost && count > 0; got += static_cast<std::size_t>(count)) {
            count = recv(peer, all.data() + got, atMost - got, 0);
            count = std::max<ssize_t>(count, 0);
        }
        all.resize(got);
        return all;
    }

    std::shared_ptr<OutputFlusher> flusher =
        std::make_shared<OutputFlusher>(Descriptors::OfSystem());
    std::shared_ptr<SocketDescriptor> socket;
    std::shared_ptr<SocketOutput> output;
    int peer;
};

TEST(SocketOutput, TakesAFrameThatTheSocketCannotAndSendsItInOrder) {
    Connection connection;
    const std::string first(1'000'000, 'a');
    const std::string second(1'000'000, 'b');
    EXPECT_EQ(connection.Write(first), 0);
    EXPECT_EQ(connection.Write(second), 0);
    EXPECT_TRUE(connection.ReadAll(2'000'000) == first + second);
}

TEST(SocketOutput, WhatWaitsIsStillSentAfterClose) {
    for (const Reading reading : {Reading::Possible, Reading::None, Reading::AtEnd}) {
        Connection connection;
        const std::string frame(1'000'000, 'x');
        EXPECT_EQ(connection.Write(frame), 0);
        connection.output->Close(reading);
        EXPECT_NE(connection.Write("y"), 0);
        EXPECT_EQ(connection.ReadAll(2'000'000).size(), frame.size());
    }
}

TEST(SocketOutput, APeerThatTakesNothingFailsAndGivesTheMemoryBack) {
    Connection connection({.stallMilliseconds = 50});
    EXPECT_EQ(connection.Write(std::string(1'000'000, 'x')), 0);
    EXPECT_TRUE(Eventually([&] { return connection.socket->IsClosed(); }));
    EXPECT_NE(connection.Write("y"), 0);
}

TEST(SocketOutput, APeerThatTakesLittleIsKept) {
    Connection connection({.stallMilliseconds = 400});
    const std::string frame(200'000, 'x');
    EXPECT_EQ(connection.Write(frame), 0);
    std::size_t got = 0;
    std::array<char, 10'000> buffer;
    const auto start = std::chrono::steady_clock::now();
    while (got < frame.size()) {
        // The whole transfer takes longer than the time within which the peer must read something.
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        const ssize_t count = recv(connection.peer, buffer.data(), buffer.size(), 0);
        ASSERT_GT(count, 0);
        got += static_cast<std::size_t>(count);
    }
    EXPECT_GT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(400));
}

TEST(SocketOutput, OneFrameMayBeLargerThanTheLimitAndTwoMayNot) {
    Connection connection({.waitingBytes = 100'000});
    EXPECT_EQ(connection.Write(std::string(500'000, 'x')), 0);
    EXPECT_NE(connection.Write("y"), 0);
    EXPECT_TRUE(connection.socket->IsClosed());
}

TEST(SocketOutput, APeerThatResetsEndsALingeringConnection) {
    Descriptors& system = Descriptors::OfSystem();
    InternetAddress address{.address = htonl(INADDR_LOOPBACK)};
    SocketDescriptor listener(system, system.OpenTcp());
    ASSERT_EQ(system.Listen(SocketDescriptor::Use(listener).Number(), address, 1), 0);
    test::FrameClient peer = test::FrameClient::ToTcp(ntohs(address.port));
    peer.ReceiveLittle();
    const auto accepted = std::make_shared<SocketDescriptor>(
        system, system.Accept(SocketDescriptor::Use(listener).Number(), address));
    const auto flusher = std::make_shared<OutputFlusher>(system);
    // By its time limits alone the connection would stay for an hour.
    const auto output =
        SocketOutput::Make(accepted, flusher, {.stallMilliseconds = 3'600'000, .lingers = true});
    const std::string frame(200'000, 'x');
    EXPECT_EQ(output->Write(reinterpret_cast<const std::uint8_t*>(frame.data()), frame.size()), 0);
    output->Close(Reading::None);
    peer.Reset();
    EXPECT_TRUE(Eventually([&] { return accepted->IsClosed(); }));
    flusher->Stop();
}

TEST(SocketOutput, AStoppedFlusherEndsWhatWaits) {
    Connection connection;
    EXPECT_EQ(connection.Write(std::string(1'000'000, 'x')), 0);
    connection.flusher->Stop();
    EXPECT_TRUE(connection.socket->IsClosed());
}

TEST(SocketOutput, AFlusherWithoutDescriptorsEndsWhatWouldWait) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    for (const rlim_t left : {0U, 1U}) {
        Connection connection;
        connection.flusher->Stop();
        const int lowestFree = dup(connection.peer);
        close(lowestFree);
        const rlimit few{static_cast<rlim_t>(lowestFree) + left, before.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
        const auto flusher = std::make_shared<OutputFlusher>(Descriptors::OfSystem());
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
        const auto output = SocketOutput::Make(connection.socket, flusher, {});
        const std::string frame(1'000'000, 'x');
        EXPECT_NE(output->Write(reinterpret_cast<const std::uint8_t*>(frame.data()), frame.size()),
                  0);
        EXPECT_TRUE(connection.socket->IsClosed());
        flusher->Stop();
    }
}

TEST(SocketDescriptor, CloseEndsAReaderAndGivesTheNumberBackOnlyThen) {
    Connection connection;
    signal(SIGPIPE, SIG_IGN);
    std::atomic<bool> inside{false};
    std::thread reader([&] {
        const SocketDescriptor::Use use(*connection.socket);
        inside = true;
        char byte = 0;
        EXPECT_EQ(recv(use.Number(), &byte, 1, 0), 0);
        EXPECT_EQ(write(use.Number(), &byte, 1), -1);
        EXPECT_EQ(errno, EPIPE);  // EBADF would mean that the descriptor was closed too early.
    });
    ASSERT_TRUE(Eventually([&] { return inside.load(); }));
    connection.socket->Close();
    reader.join();
    EXPECT_FALSE(SocketDescriptor::Use(*connection.socket));
}

}  // namespace
}  // namespace vantry
