// The four links of a running hub, over real sockets.

#include <gtest/gtest.h>

#include "support/eventually.h"
#include "support/messages.h"
#include "support/temporary_directory.h"
#include "support/vantryd_process.h"

namespace vantry {
namespace {

using namespace test;

const Address kSpeed{"COMPONENT", "Job group", "SPEED"};

class Links : public testing::Test {
protected:
    /// Waits until the hub has no more threads and descriptors than these.
    void ExpectAtMost(std::size_t threads, std::size_t descriptors) {
        EXPECT_TRUE(Eventually([&] {
            return hub.Count("task") <= threads && hub.Count("fd") <= descriptors;
        })) << hub.Count("task")
            << " of " << threads << " threads, " << hub.Count("fd") << " of " << descriptors
            << " descriptors";
    }

    TemporaryDirectory directory;
    VantrydProcess hub{directory.Path()};
};

/// The descriptors that a hub may still open or close after its start.
constexpr std::size_t kSettling = 3;

const std::vector<std::string> kAllLinks = {"PRN1", "TCP", "UMF1", "BTD0"};

TEST_F(Links, BadFramesEndASessionAndNothingElse) {
    FrameClient witness = hub.Tcp();
    for (const std::string& link : kAllLinks) {
        const std::string tooLong = FrameOf("").substr(0, 16) + std::string("\1\0\100\0", 4);
        for (const std::string& bytes :
             {FrameOf("[1]"), FrameOf("{\"a\":"), FrameOf(""), tooLong}) {
            FrameClient client = hub.Connect(link);
            client.SendBytes(bytes);
            EXPECT_TRUE(client.SeesEnd()) << link;
        }
    }
    EXPECT_TRUE(witness.Ask(kGetAll));
}

TEST_F(Links, AHalfClosedLocalClientStillReceives) {
    FrameClient client = hub.Device("PRN1");
    FrameClient component = hub.Device("PRN1");
    client.Send(Subscribe(kSpeed));
    client.ShutDownSending();
    EXPECT_TRUE(client.Receive());
    component.Send(Report(kSpeed, "1"));
    EXPECT_TRUE(client.ReceiveUntil("\"Value\": \"1\""));
}

TEST_F(Links, OneUsbHostIsServedAtATimeAndManyBluetoothPeers) {
    FrameClient first = hub.Device("UMF1");
    EXPECT_TRUE(first.Ask(kGetAll));
    FrameClient second = hub.Device("UMF1");
    second.Send(kGetAll);
    EXPECT_FALSE(second.HearsWithin(300));
    first.Close();
    EXPECT_TRUE(second.Receive());
    std::vector<FrameClient> peers;
    for (int count = 0; count < 5; ++count) {
        peers.push_back(hub.Device("BTD0"));
        EXPECT_TRUE(peers.back().Ask(kGetAll));
    }
}

TEST_F(Links, ACablePulledInTheMiddleOfAFrameLeavesNothing) {
    EXPECT_TRUE(hub.Device("UMF1").Ask(kGetAll));
    const std::size_t threads = hub.Count("task") + kSettling;
    const std::size_t descriptors = hub.Count("fd") + kSettling;
    for (int count = 0; count < 100; ++count) {
        FrameClient cable = hub.Device("UMF1");
        cable.SendBytes(FrameOf(kGetAll).substr(0, static_cast<std::size_t>(count) % 40));
    }
    EXPECT_TRUE(hub.Device("UMF1").Ask(kGetAll));
    ExpectAtMost(threads, descriptors);
}

TEST_F(Links, ManyConnectionsComeAndGo) {
    const std::size_t threads = hub.Count("task") + kSettling;
    const std::size_t descriptors = hub.Count("fd") + kSettling;
    {
        std::vector<FrameClient> clients;
        for (int count = 0; count < 200; ++count) {
            // They connect in sequence: the TCP backlog has only ten places.
            clients.push_back(hub.Tcp());
            ASSERT_TRUE(clients.back().Ask(Get(kSpeed)));
            clients.push_back(hub.Device("PRN1"));
        }
        for (FrameClient& client : clients) {
            client.Send(Get(kSpeed));
        }
        for (FrameClient& client : clients) {
            ASSERT_TRUE(client.Receive());
        }
    }
    ExpectAtMost(threads, descriptors);
}

TEST_F(Links, AClientThatStopsReadingDelaysNobodyAndIsDropped) {
    FrameClient component = hub.Device("PRN1");
    component.Send(Many("PropertyGetResponses", 500, [](std::size_t number) {
        return ReportEntry({"C", "Job ", std::to_string(number)}, std::string(900, 'v'));
    }));
    ASSERT_TRUE(component.Ask(Get(kSpeed)));
    FrameClient client = hub.Tcp();
    ASSERT_TRUE(client.Ask(Get(kSpeed)));
    std::vector<FrameClient> stalled;
    for (int count = 0; count < 4; ++count) {
        stalled.push_back(hub.Tcp());
        ASSERT_TRUE(stalled.back().Ask(Get(kSpeed)));
    }
    // The hub's own session of the start has ended, so later ends are those of the clients.
    ASSERT_TRUE(Eventually(
        [&] { return ReadFile(hub.root / "Store/VantryLogFileName.txt").ends_with("\r\n"); }));
    // The thread of the notices starts with the first of them.
    const std::size_t threads = hub.Count("task") + 1 - stalled.size();
    // Each requests far more than sockets and the hub can buffer, and reads nothing.
    for (FrameClient& other : stalled) {
        for (int ask = 0; ask < 150; ++ask) {
            other.Send(kGetAll);
        }
    }
    for (int count = 0; count < 20; ++count) {
        ASSERT_TRUE(client.Ask(Get(kSpeed)));
    }
    EXPECT_TRUE(Eventually([&] { return hub.Count("task") <= threads; }));
    for (FrameClient& other : stalled) {
        EXPECT_TRUE(other.SeesEnd());
    }
}

}  // namespace
}  // namespace vantry
