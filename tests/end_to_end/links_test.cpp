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
    FrameClient Connect(const std::string& link) {
        return link == "TCP" ? hub.Tcp() : hub.Device(link);
    }

    TemporaryDirectory directory;
    VantrydProcess hub{directory.Path()};
};

/// The descriptors that a hub may still open or close after its start.
constexpr std::size_t kSettling = 3;

const std::vector<std::string> kAllLinks = {"PRN1", "TCP", "UMF1", "BTD0"};

TEST_F(Links, TheSameConversationIsTheSameOnEach) {
    FrameClient component = hub.Device("PRN1");
    // Its announcement is published before any of the conversations begins.
    component.Ask(Subscribe(kSpeed));
    component.Send(Report(kSpeed, "1"));
    component.Receive();
    std::vector<std::string> conversations;
    for (const std::string& link : kAllLinks) {
        FrameClient client = Connect(link);
        std::string heard = *client.Ask(Get(kSpeed));
        heard += *client.Ask(Get({"", std::string(Groups::kProductInfo.guid), ""}));
        heard += *client.Ask(Get({"NO", "SUCH", "ONE"}));
        heard += *client.Ask(Subscribe(kSpeed));
        component.Send(Report(kSpeed, "2"));
        heard += *client.Receive();
        component.Send(Report(kSpeed, "1"));
        heard += *client.Receive();
        client.Send(R"({"Disconnect": true})");
        EXPECT_TRUE(client.SeesEnd()) << link;
        conversations.push_back(heard);
    }
    for (std::size_t link = 1; link < conversations.size(); ++link) {
        EXPECT_EQ(conversations[link], conversations[0]) << kAllLinks[link];
    }
}

TEST_F(Links, WorkedExamplesComeBackByteForByte) {
    FrameClient client = hub.Device("PRN1");
    const std::string period =
        R"({"Component": "955CFDC2-8EA6-478E-A927-7C870022EA03","ComponentString": "Vantry","GUID": "99A61D40-20CE-41EA-A579-EB92C6ED94C6:DA821DC5-948D-4659-9B52-177E4C102129","GroupString": "General","NameString": "Property Publishing Period in ms","Status": "Successful","Value": "500"})";
    EXPECT_EQ(
        client.Ask(
            R"({"PropertyGetRequests": [{"Component": "955CFDC2-8EA6-478E-A927-7C870022EA03","GUID": "99A61D40-20CE-41EA-A579-EB92C6ED94C6:DA821DC5-948D-4659-9B52-177E4C102129"}]})"),
        R"({"PropertyGetResponses": [)" + period + "]}");
    EXPECT_EQ(
        client.Ask(
            R"({"PropertySubscribeRequests": [{"Component": "955CFDC2-8EA6-478E-A927-7C870022EA03","GUID": "99A61D40-20CE-41EA-A579-EB92C6ED94C6:DA821DC5-948D-4659-9B52-177E4C102129"}]})"),
        R"({"PropertyGetResponses": [)" + period + "]}");
    EXPECT_EQ(
        client.Ask(
            R"({"PropertyGetRequests": [{"Component": "955CFDC2-8EA6-478E-A927-7C870022EA03","GUID": "99A61D40-20CE-41EA-A579-EB92C6ED94C6:354B1CD8-5E87-4F75-87E1-FD4C28FC8DFC"}]})"),
        R"({"PropertyGetResponses": [{"Component": "955CFDC2-8EA6-478E-A927-7C870022EA03","ComponentString": "Unknown Group","GUID": "99A61D40-20CE-41EA-A579-EB92C6ED94C6:354B1CD8-5E87-4F75-87E1-FD4C28FC8DFC","GroupString": "Unknown Group","NameString": "Unknown Property","Status": "Property Not Found","Value": "Invalid Value"}]})");
    const std::string group = *client.Ask(
        R"({"PropertyGetRequests": [{"Component": "955CFDC2-8EA6-478E-A927-7C870022EA03","GUID": "99A61D40-20CE-41EA-A579-EB92C6ED94C6:"}]})");
    EXPECT_NE(group.find(period), std::string::npos);
    const std::string all = *client.Ask(kGetAll);
    EXPECT_TRUE(all.starts_with(R"({"GetAllPropertiesResponse": true,"PropertyGetResponses": [{)"));
    // Every property of the hub, once: five of the store, four settings, ten versions, the
    // switches, and the component.
    EXPECT_EQ(Count(all, "\"GUID\""), 4U + 3U + 10U + 17U + 1U);
}

TEST_F(Links, BadFramesEndASessionAndNothingElse) {
    FrameClient witness = hub.Tcp();
    for (const std::string& link : kAllLinks) {
        const std::string tooLong = FrameOf("").substr(0, 16) + std::string("\1\0\100\0", 4);
        for (const std::string& bytes :
             {FrameOf("[1]"), FrameOf("{\"a\":"), FrameOf(""), tooLong}) {
            FrameClient client = Connect(link);
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

TEST_F(Links, WhatALocalClientSendsBeforeItClosesCounts) {
    FrameClient reader = hub.Device("PRN1");
    {
        FrameClient leaving = hub.Device("PRN1");
        for (int value = 0; value < 2000; ++value) {
            leaving.Send(Report(kSpeed, std::to_string(value)));
        }
    }
    EXPECT_TRUE(Eventually(
        [&] { return reader.Ask(Get(kSpeed))->find("\"Value\": \"1999\"") != std::string::npos; }));
}

TEST_F(Links, WhatAnExternalPeerSendsRightBeforeItClosesCounts) {
    FrameClient reader = hub.Device("PRN1");
    for (const std::string link : {"UMF1", "BTD0"}) {
        for (int value = 0; value < 20; ++value) {
            const Address sent{"COMPONENT", link, std::to_string(value)};
            Connect(link).SendBytes(FrameOf(Report(sent, "here")));
            ASSERT_TRUE(Eventually([&] {
                return reader.Ask(Get(sent))->find("\"here\"") != std::string::npos;
            })) << link
                << value;
        }
    }
}

TEST_F(Links, AReaderThatPausesGetsItsWholeAnswer) {
    FrameClient idle = hub.Device("PRN1");
    for (const std::string& link : kAllLinks) {
        FrameClient client = Connect(link);
        client.Send(
            Section("PropertyGetRequests", std::vector<std::string>(8000, R"({"GUID":"a:b"})")));
        EXPECT_FALSE(idle.HearsWithin(500));
        const std::optional<std::string> answer = client.Receive();
        EXPECT_TRUE(answer && Count(*answer, "Property Not Found") == 8000U) << link;
    }
}

TEST_F(Links, OnlyLocalClientsMayWrite) {
    FrameClient reader = hub.Device("PRN1");
    for (const std::string link : {"TCP", "UMF1", "BTD0", "PRN1"}) {
        FrameClient client = Connect(link);
        client.Send(Set(PublishingPeriod(), "750"));
        ASSERT_TRUE(client.Ask(kGetAll));
        const bool written = reader.Ask(Get(PublishingPeriod()))->find("750") != std::string::npos;
        EXPECT_EQ(written, link == "PRN1") << link;
    }
}

TEST_F(Links, OneUsbHostAtATimeAndTheNextOneWaits) {
    FrameClient first = hub.Device("UMF1");
    EXPECT_TRUE(first.Ask(kGetAll));
    FrameClient second = hub.Device("UMF1");
    second.Send(kGetAll);
    EXPECT_FALSE(second.HearsWithin(300));
    first.Close();
    EXPECT_TRUE(second.Receive());
}

TEST_F(Links, SeveralBluetoothPeersAreServedAtOnce) {
    std::vector<FrameClient> peers;
    for (int count = 0; count < 5; ++count) {
        peers.push_back(hub.Device("BTD0"));
    }
    for (FrameClient& peer : peers) {
        EXPECT_TRUE(peer.Ask(kGetAll));
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
    EXPECT_TRUE(Eventually([&] {
        return hub.Count("task") <= threads && hub.Count("fd") <= descriptors;
    })) << hub.Count("task")
        << " " << hub.Count("fd");
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
    EXPECT_TRUE(Eventually([&] {
        return hub.Count("task") <= threads && hub.Count("fd") <= descriptors;
    })) << hub.Count("task")
        << " of " << threads << " threads, " << hub.Count("fd") << " of " << descriptors
        << " descriptors";
}

TEST_F(Links, SubscribersThatLeaveWithoutAWordDoNotPileUp) {
    const std::size_t descriptors = hub.Count("fd") + kSettling;
    constexpr std::size_t kSubscribers = 400;
    constexpr std::size_t kKept = 150;
    for (std::size_t count = 0; count < kSubscribers; ++count) {
        // This property never changes, so no failed write reveals the client's end.
        ASSERT_TRUE(hub.Tcp().Ask(Subscribe({"NO", "SUCH", "ONE"})));
        ASSERT_TRUE(hub.Device("BTD0").Ask(Subscribe({"NO", "SUCH", "ONE"})));
        FrameClient resetting = hub.Tcp();
        ASSERT_TRUE(resetting.Ask(Subscribe({"NO", "SUCH", "ONE"})));
        resetting.Reset();
    }
    EXPECT_TRUE(Eventually([&] { return hub.Count("fd") < descriptors + kKept; }));
}

TEST_F(Links, AClientThatStopsReadingDelaysNobodyAndIsDropped) {
    FrameClient component = hub.Device("PRN1");
    std::vector<std::string> entries;
    for (int count = 0; count < 500; ++count) {
        entries.push_back(ReportEntry({"C", "Job ", std::to_string(count)}, std::string(900, 'v')));
    }
    component.Send(Section("PropertyGetResponses", entries));
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
    const std::size_t threads = hub.Count("task") - stalled.size();
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
