#include <gtest/gtest.h>
#include <netinet/in.h>

#include <thread>

#include "support/frame_client.h"
#include "transport/tcp/socket_layer.h"

namespace vantry {
namespace {

class Tcp : public testing::Test {
protected:
    Tcp() { listening.Replace(INADDR_LOOPBACK, std::nullopt); }

    TcpListening listening;
    SocketLayer layer{listening};
};

TEST_F(Tcp, BytesGoBothWaysAndThePeersEndIsSeen) {
    const std::shared_ptr<Listener> listener = layer.MakeListener(0, 10);
    listener->Open();
    test::FrameClient client = test::FrameClient::ToTcp(listening.boundPort);
    const std::shared_ptr<Stream> stream = listener->Accept();
    ASSERT_TRUE(stream);
    EXPECT_EQ(stream->IsExternal(), 1U);
    EXPECT_EQ(stream->IsAlive(), 1U);
    client.SendBytes("abc");
    std::uint8_t buffer[8] = {};
    EXPECT_EQ(stream->Read(buffer, sizeof buffer), 3);
    EXPECT_EQ(stream->Write(buffer, 3), 3);
    EXPECT_TRUE(client.HearsWithin(5000));
    client.Close();
    EXPECT_LT(stream->Read(buffer, sizeof buffer), 1);
}

TEST_F(Tcp, CloseEndsABlockedReadAndAPeerSeesIt) {
    const std::shared_ptr<Listener> listener = layer.MakeListener(0, 10);
    listener->Open();
    test::FrameClient client = test::FrameClient::ToTcp(listening.boundPort);
    const std::shared_ptr<Stream> stream = listener->Accept();
    std::thread reader([&] {
        std::uint8_t byte = 0;
        EXPECT_EQ(stream->Read(&byte, 1), StreamCode::kError);
    });
    stream->Close();
    stream->Close();
    reader.join();
    EXPECT_TRUE(client.SeesEnd());
    const std::uint8_t byte = 0;
    EXPECT_EQ(stream->Write(&byte, 1), StreamCode::kError);
}

TEST_F(Tcp, ATakenPortGivesNoStreamAndPort65534WaitsForClose) {
    const std::shared_ptr<Listener> first = layer.MakeListener(0, 10);
    first->Open();
    const std::shared_ptr<Listener> second = layer.MakeListener(listening.boundPort, 10);
    second->Open();
    EXPECT_EQ(listening.bindError, EADDRINUSE);
    EXPECT_FALSE(second->Accept());

    const std::shared_ptr<Listener> none = layer.MakeListener(65534, 10);
    none->Open();
    std::thread waiting([&] { EXPECT_FALSE(none->Accept()); });
    none->Close();
    waiting.join();
}

TEST_F(Tcp, CloseReleasesABlockedAccept) {
    const std::shared_ptr<Listener> listener = layer.MakeListener(0, 10);
    listener->Open();
    std::thread accepting([&] { EXPECT_FALSE(listener->Accept()); });
    listener->Close();
    accepting.join();
    EXPECT_FALSE(listener->Accept());
}

}  // namespace
}  // namespace vantry
