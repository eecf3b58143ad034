#include <gtest/gtest.h>
#include <netinet/in.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/allocations.h"
#include "support/eventually.h"
#include "support/frame_client.h"
#include "support/messages.h"
#include "support/test_platform.h"
#include "transport/stream/peek_stream.h"
#include "transport/tcp/socket_layer.h"

namespace vantry {
namespace {

class Tcp : public testing::Test {
protected:
    Tcp() { listening.Replace(INADDR_LOOPBACK, std::nullopt); }

    void Listen() {
        if (!opened) {
            layer.emplace(machine.platform);
            opened = layer->MakeListener(0, 10);
            opened->Open();
        }
    }
    /// Connects `client` and returns the accepted stream.
    std::shared_ptr<Stream> Connect() {
        Listen();
        client.emplace(test::FrameClient::ToTcp(listening.boundPort));
        return opened->Accept();
    }
    /// Tests change it before the first Connect.
    void SetBound(Bound bound, std::uint64_t value) {
        Limits limits;
        limits.Set(bound, value);
        machine.platform.SetLimits(limits);
    }
    static std::size_t Descriptors() {
        const std::filesystem::directory_iterator entries("/proc/self/fd");
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

    test::TestPlatform machine;
    TcpListening& listening = machine.platform.tcp;
    std::optional<SocketLayer> layer{std::in_place, machine.platform};
    std::shared_ptr<Listener> opened;
    std::optional<test::FrameClient> client;
    std::vector<test::FrameClient> clients;
};

TEST_F(Tcp, BytesGoBothWaysAndThePeersEndIsSeen) {
    const std::shared_ptr<Stream> stream = Connect();
    ASSERT_TRUE(stream);
    EXPECT_EQ(stream->IsExternal(), 1U);
    EXPECT_EQ(stream->IsAlive(), 1U);
    client->SendBytes("abc");
    std::uint8_t buffer[8] = {};
    EXPECT_EQ(stream->Read(buffer, sizeof buffer), 3);
    EXPECT_EQ(stream->Write(buffer, 3), 3);
    EXPECT_TRUE(client->HearsWithin(5000));
    client->Close();
    EXPECT_LT(stream->Read(buffer, sizeof buffer), 1);
}

TEST_F(Tcp, WhatCameWithAnEarlierReadComesBeforeTheEnd) {
    for (const bool resets : {false, true}) {
        const std::shared_ptr<Stream> stream = Connect();
        const std::string sent(40'000, 'a');
        client->SendBytes(sent);
        std::vector<std::uint8_t> buffer(sent.size());
        EXPECT_EQ(stream->Read(buffer.data(), 10), 10);
        resets ? client->Reset() : client->Close();
        std::int32_t got = 10;
        for (std::int32_t count = 1; count > 0; got += std::max(count, 0)) {
            count = stream->Read(buffer.data(), 1'000);
        }
        EXPECT_TRUE(resets || got == 40'000) << got;
        EXPECT_GT(got, 10);
        EXPECT_EQ(stream->IsAlive(), resets ? 0U : 1U);
        stream->Close();
    }
}

TEST_F(Tcp, CloseEndsABlockedReadAndAPeerSeesIt) {
    const std::shared_ptr<Stream> stream = Connect();
    std::thread reader([&] {
        std::uint8_t byte = 0;
        EXPECT_EQ(stream->Read(&byte, 1), StreamCode::kError);
    });
    stream->Close();
    stream->Close();
    reader.join();
    EXPECT_TRUE(client->SeesEnd());
    const std::uint8_t byte = 0;
    EXPECT_EQ(stream->Write(&byte, 1), StreamCode::kError);
}

TEST_F(Tcp, APeerHasGoneWhenItWasResetAndNotWhenItOnlySendsNoMore) {
    const auto stream = std::make_shared<PeekStream>(Connect());
    EXPECT_FALSE(stream->HasPeerGone());
    client->SendBytes("abc");
    client->ShutDownSending();
    std::uint8_t buffer[8] = {};
    EXPECT_EQ(stream->Read(buffer, 3), 3);
    EXPECT_LT(stream->Read(buffer, 1), 1);
    EXPECT_FALSE(stream->HasPeerGone());
    EXPECT_EQ(stream->Write(buffer, 3), 3);
    EXPECT_TRUE(client->HearsWithin(5000));
    client->Reset();
    EXPECT_TRUE(test::Eventually([&] { return stream->HasPeerGone(); }));
    EXPECT_EQ(stream->IsAlive(), 1U);
    const std::shared_ptr<Stream> closed = Connect();
    closed->Close();
    EXPECT_TRUE(closed->HasPeerGone());
}

TEST_F(Tcp, AResetPeerCostsNoDescriptorAlthoughItsStreamIsHeld) {
    Listen();
    const std::size_t before = Descriptors();
    std::shared_ptr<Stream> stream = Connect();
    client->Reset();
    std::uint8_t byte = 0;
    EXPECT_EQ(stream->Read(&byte, 1), StreamCode::kError);
    EXPECT_EQ(Descriptors(), before);
    EXPECT_EQ(stream->IsAlive(), 0U);
}

TEST_F(Tcp, AStreamThatNobodyReadsKeepsNoInputAndCountsAsDeadWhenItIsClosed) {
    const std::shared_ptr<Stream> stream = Connect();
    const std::string sent(16'000, 'a');
    client->SendBytes(sent);
    const std::size_t before = AllocationsOfThisThread().bytes;
    std::uint8_t byte = 0;
    EXPECT_EQ(stream->Read(&byte, 1), 1);
    stream->ReleaseInput();
    EXPECT_LT(AllocationsOfThisThread().bytes - before, 100U);
    EXPECT_EQ(stream->IsAlive(), 1U);
    stream->Close();
    EXPECT_EQ(stream->IsAlive(), 0U);
}

TEST_F(Tcp, AConnectionWithoutAPlaceIsClosedAndALaterOneIsServed) {
    SetBound(Bound::TcpConnections, 1);
    std::shared_ptr<Stream> first = Connect();
    test::FrameClient refused = test::FrameClient::ToTcp(listening.boundPort);
    std::shared_ptr<Stream> second;
    std::thread accepting([&] { second = opened->Accept(); });
    EXPECT_TRUE(refused.SeesEnd());
    first.reset();
    test::FrameClient served = test::FrameClient::ToTcp(listening.boundPort);
    accepting.join();
    EXPECT_EQ(second->IsAlive(), 1U);
}

TEST_F(Tcp, ASharedFrameIsCountedOnceAndWhoHoldsMostIsCut) {
    SetBound(Bound::Outputs, 50'000'000);
    const auto text = std::make_shared<const std::string>(40'000'000, 'x');
    std::vector<std::shared_ptr<Stream>> streams;
    for (int count = 0; count < 4; ++count) {
        streams.push_back(Connect());
        clients.push_back(std::move(*client));
    }
    // Each of the frames has a text of its own and shares the long one.
    for (int count = 0; count < 3; ++count) {
        SharedFrame frame(std::make_shared<const std::string>("head"));
        frame.Add(text);
        streams[std::size_t(count)]->WriteShared(frame);
    }
    const Accounting& accounting = *machine.platform.accounting;
    // Beside the text itself, some bytes are counted for each place where it waits.
    const std::uint64_t once = accounting.Total(Resource::Output);
    EXPECT_GT(once, text->size());
    EXPECT_LT(once, text->size() + 1'000);
    streams[3]->Write(reinterpret_cast<const std::uint8_t*>(text->data()),
                      static_cast<std::int32_t>(text->size()));
    EXPECT_EQ(streams[3]->IsAlive(), 0U);
    EXPECT_EQ(streams[0]->IsAlive(), 1U);
    EXPECT_EQ(accounting.Total(Resource::Output), once);
    clients.clear();
    EXPECT_TRUE(test::Eventually([&] { return accounting.Total(Resource::Output) == 0; }));
}

TEST_F(Tcp, AnAnswerBeforeTheEndArrivesAlthoughThePeerSendsMore) {
    const std::string text(1'500'000, 'x');
    const std::string frame = test::FrameOf(text);
    const std::shared_ptr<Stream> stream = Connect();
    client->SendBytes(std::string(300'000, 'y'));
    stream->Write(reinterpret_cast<const std::uint8_t*>(frame.data()),
                  static_cast<std::int32_t>(frame.size()));
    stream->Close();
    client->SendBytes(std::string(300'000, 'y'));
    EXPECT_TRUE(client->Receive() == text);
    EXPECT_TRUE(client->SeesEnd());
}

TEST_F(Tcp, OfThePeersThatEndedTheirSideTheOldestIsDroppedAndNoneThatTheHubClosed) {
    SetBound(Bound::EndedPeers, 2);
    std::vector<std::shared_ptr<Stream>> ended;
    std::uint8_t byte = 0;
    const auto end = [&] {
        ended.push_back(Connect());
        client->ShutDownSending();
        EXPECT_LT(ended.back()->Read(&byte, 1), 1);
        clients.push_back(std::move(*client));
    };
    end();
    end();
    for (int count = 0; count < 2; ++count) {
        // Its output waits, so the socket stays open and only the receiving direction ends.
        const std::shared_ptr<Stream> closed = Connect();
        const std::string much(64U << 20U, 'x');
        closed->Write(reinterpret_cast<const std::uint8_t*>(much.data()),
                      static_cast<std::int32_t>(much.size()));
        closed->Close();
        EXPECT_LT(closed->Read(&byte, 1), 1);
    }
    EXPECT_EQ(ended.front()->IsAlive(), 1U);
    end();
    EXPECT_EQ(ended.front()->IsAlive(), 0U);
    EXPECT_EQ(ended.back()->IsAlive(), 1U);
}

TEST_F(Tcp, ATakenPortGivesNoStream) {
    const std::shared_ptr<Listener> first = layer->MakeListener(0, 10);
    first->Open();
    const std::shared_ptr<Listener> second = layer->MakeListener(listening.boundPort, 10);
    second->Open();
    EXPECT_EQ(listening.bindError, EADDRINUSE);
    EXPECT_FALSE(second->Accept());
}

TEST_F(Tcp, CloseReleasesABlockedAcceptAlsoWithoutAPort) {
    for (const std::uint16_t port : {std::uint16_t{0}, std::uint16_t{65534}}) {
        const std::shared_ptr<Listener> listener = layer->MakeListener(port, 10);
        listener->Open();
        std::thread accepting([&] { EXPECT_FALSE(listener->Accept()); });
        listener->Close();
        accepting.join();
        EXPECT_FALSE(listener->Accept());
    }
}

}  // namespace
}  // namespace vantry
