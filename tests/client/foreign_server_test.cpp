// The client library when the peer isn't a hub, or stops behaving as one.

#include <atomic>

#include "client/client_fixture.h"
#include "support/messages.h"
#include "support/scripted_server.h"

namespace vantry::client {
namespace {

using test::FrameClient;
using test::ScriptedServer;

Result<std::unique_ptr<Hub>> ConnectTo(const ScriptedServer& server, Hub::Options options = {}) {
    options.deadlineMilliseconds = test::kPatienceMilliseconds;
    options.firstPauseMilliseconds = 1;
    options.longestPauseMilliseconds = 10;
    return Hub::Connect(Endpoint::Tcp("127.0.0.1", server.Port()), options);
}

TEST(ForeignServer, IsNamedAtOnce) {
    std::string longFrame = test::FrameOf("");
    longFrame.replace(16, 4, "\xFF\xFF\xFF\xFF");
    const struct {
        const char* says;
        std::string bytes;
        bool waitsForUs;
        const char* error;
    } cases[] = {
        {"a banner", "SSH-2.0-OpenSSH_9.2p1 Debian-2+deb12u3\r\n", false, "isn't a property hub"},
        {"a short banner", "220\r\n", false, "isn't a property hub"},
        {"an answer", "HTTP/1.1 400 Bad Request\r\n\r\n", true, "isn't a property hub"},
        {"too much", longFrame, true, "bytes"},
        {"nothing", "", true, "ended the connection"},
    };
    for (const auto& [says, bytes, waitsForUs, error] : cases) {
        ScriptedServer server([&, sent = bytes, first = waitsForUs](FrameClient& peer) {
            if (first) {
                static_cast<void>(peer.Receive());
            }
            peer.SendBytes(sent);
            if (!sent.empty()) {
                EXPECT_TRUE(peer.SeesEnd());
            }
        });
        const auto hub = ConnectTo(server);
        ASSERT_FALSE(hub) << says;
        EXPECT_EQ(hub.error().code, ErrorCode::NoConnection) << says;
        EXPECT_NE(hub.error().text.find(error), std::string::npos) << hub.error().text;
        const std::string address = "127.0.0.1:" + std::to_string(server.Port());
        EXPECT_NE(hub.error().text.find(address), std::string::npos) << hub.error().text;
    }
}

TEST(ForeignServer, ThatIsSilentIsNamedLongBeforeTheDeadline) {
    std::atomic<bool> isNamed{false};
    ScriptedServer server(
        [&](FrameClient&) { EXPECT_TRUE(Eventually([&] { return isNamed.load(); })); });
    Hub::Options options;
    std::string text;
    options.onSilence = [&](const Error& silence) {
        text = silence.text;
        isNamed = true;
    };
    EXPECT_FALSE(ConnectTo(server, options));
    EXPECT_NE(text.find("127.0.0.1:" + std::to_string(server.Port()) + " has not answered yet"),
              std::string::npos)
        << text;
}

TEST(ForeignServer, ThatOnlyAcceptsIsNeverCalledConnected) {
    // The first connection behaves as a hub until it receives a question.
    std::atomic<int> connections{0};
    ScriptedServer server([&](FrameClient& peer) {
        if (connections++ == 0) {
            static_cast<void>(peer.Receive());
            peer.Send(test::Section("PropertyGetResponses",
                                    {test::ReportEntry(test::PublishingPeriod(), "500")}));
            static_cast<void>(peer.Receive());
        }
    });
    std::atomic<int> ups{0};
    std::atomic<int> failures{0};
    Hub::Options options;
    options.onConnection = [&](bool up) { ups += up ? 1 : 0; };
    options.onError = [&](const Error&) { ++failures; };
    const auto hub = ConnectTo(server, options);
    ASSERT_TRUE(hub) << hub.error().text;
    EXPECT_EQ((*hub)->Read(kPeriod).error().code, ErrorCode::NoConnection);
    EXPECT_TRUE(Eventually([&] { return failures > 3; }));
    EXPECT_EQ(ups, 1);
    EXPECT_FALSE((*hub)->IsConnected());
}

TEST(ForeignServer, AnAnswerToAnotherQuestionIsNotTaken) {
    ScriptedServer server([](FrameClient& peer) {
        const test::Address asked[] = {test::PublishingPeriod(), {"C", "G", "OTHER"}};
        for (const test::Address& answered : asked) {
            if (!peer.Receive()) {
                return;
            }
            peer.Send(test::Section("PropertyGetResponses", {test::ReportEntry(answered, "1")}));
        }
        EXPECT_TRUE(peer.SeesEnd());
    });
    const auto hub = ConnectTo(server);
    ASSERT_TRUE(hub) << hub.error().text;
    EXPECT_EQ((*hub)->Read(Mine("A")).error().code, ErrorCode::NoConnection);
}

}  // namespace
}  // namespace vantry::client
