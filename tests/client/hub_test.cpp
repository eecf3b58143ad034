// The client library against a running hub.

#include <signal.h>

#include <atomic>

#include "client/client_fixture.h"
#include "client/recovery.h"
#include "support/messages.h"

namespace vantry::client {
namespace {

const PropertyId kSpeed = Mine("SPEED");

Announcement Speed(std::string value, ValueType type = ValueType::Text) {
    return Announced("SPEED", std::move(value), type);
}

using Client = ClientTest;

TEST_F(Client, ReadsAndWritesTheHubsOwnProperties) {
    const auto hub = Connect();
    EXPECT_EQ(ValueOf(*hub, kPeriod), "500");
    EXPECT_EQ(hub->Read({"NO", "SUCH", "ONE"}).error().code, ErrorCode::NotFound);
    EXPECT_EQ(hub->ReadGroup("222D688A-1554-4C0E-B7A0-0BC377EF4071")->size(), 10U);
    EXPECT_EQ(hub->ReadAll()->size(), test::kHubProperties);
    const auto written = hub->WriteAndWait(kPeriod, "0750");
    ASSERT_TRUE(written) << written.error().text;
    EXPECT_EQ(written->value, "750");
}

TEST_F(Client, EveryByteButNulComesBackAsItWas) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte) {
        all.push_back(static_cast<char>(byte));
    }
    const auto owner = Connect();
    const auto client = Connect();
    Announcement odd = Speed(all);
    odd.name = "a \"name\" \\ with\ttrouble";
    ASSERT_TRUE(owner->Announce({odd}));
    ASSERT_TRUE(Eventually([&] { return ValueOf(*client, kSpeed) == all; }));
    EXPECT_EQ(client->Read(kSpeed)->name, odd.name);
    const std::string other = "\"" + all + "\\";
    EXPECT_EQ(client->WriteAndWait(kSpeed, other)->value, other);
    EXPECT_FALSE(owner->Change(kSpeed, std::string("a\0b", 3)));
}

TEST_F(Client, WritesThatDoNotFitNeverReachTheHandler) {
    const auto owner = Connect();
    const auto client = Connect();
    std::atomic<int> calls{0};
    Announcement speed = Speed("4", ValueType::Number);
    speed.onWrite = [&](const std::string& written) -> std::optional<std::string> {
        ++calls;
        return written == "99" ? std::nullopt : std::optional(written);
    };
    ASSERT_TRUE(owner->Announce({speed}));
    EXPECT_EQ(owner->Announce({speed}).error().code, ErrorCode::Refused);
    EXPECT_EQ(owner->Change(kSpeed, "fast").error().code, ErrorCode::Refused);
    ASSERT_TRUE(client->Write(kSpeed, "fast"));
    ASSERT_TRUE(client->Write(kSpeed, "99"));
    EXPECT_EQ(client->WriteAndWait(kSpeed, "7")->value, "7");
    EXPECT_EQ(calls, 2);
}

TEST_F(Client, SubscriptionsHearListsGroupsAndEverything) {
    const auto owner = Connect();
    const auto client = Connect();
    EventQueue list;
    EventQueue group;
    EventQueue everything;
    // The property doesn't exist yet.
    const auto one = client->Subscribe(Interest::List({kSpeed}), list.Callback());
    const auto two = client->Subscribe(Interest::Group("MY GROUP"), group.Callback());
    const auto three = client->Subscribe(Interest::Everything(), everything.Callback());
    ASSERT_TRUE(owner->Announce({Speed("1")}));
    for (EventQueue* queue : {&list, &group, &everything}) {
        EXPECT_TRUE(Hears(*queue, "1"));
    }
    ASSERT_TRUE(owner->Change(kSpeed, "2"));
    for (EventQueue* queue : {&list, &group, &everything}) {
        EXPECT_TRUE(Hears(*queue, "2"));
    }
    ASSERT_TRUE(owner->Withdraw(kSpeed));
    ASSERT_TRUE(HearsOfALoss(list));
    ASSERT_TRUE(owner->Announce({Speed("3")}));
    EXPECT_TRUE(Hears(list, "3"));
}

TEST_F(Client, AnEndedSubscriptionIsSilent) {
    const auto hub = Connect();
    ASSERT_TRUE(hub->Announce({Speed("1")}));
    std::atomic<int> calls{0};
    {
        const auto subscription =
            hub->Subscribe(Interest::List({kSpeed}), [&](const Property&) { ++calls; });
        EXPECT_TRUE(Eventually([&] { return calls > 0; }));
    }
    const int before = calls;
    EventQueue changes;
    const auto witness = hub->Subscribe(Interest::List({kSpeed}), changes.Callback());
    ASSERT_TRUE(hub->Change(kSpeed, "2"));
    EXPECT_TRUE(Hears(changes, "2"));
    EXPECT_EQ(calls, before);
}

TEST_F(Client, EverythingIsRestoredWhenTheHubComesBack) {
    std::atomic<int> connections{0};
    Hub::Options options;
    options.onConnection = [&](bool connected) { connections += connected ? 1 : 0; };
    const auto owner = Connect(options);
    const auto client = Connect();
    EventQueue changes;
    const auto subscription = client->Subscribe(Interest::List({kSpeed}), changes.Callback());
    ASSERT_TRUE(owner->Announce({Speed("1")}));
    EXPECT_TRUE(Hears(changes, "1"));
    process->Kill();
    EXPECT_TRUE(Eventually([&] { return !owner->IsConnected() && !client->IsConnected(); }));
    EXPECT_EQ(client->Read(kSpeed).error().code, ErrorCode::NoConnection);
    ASSERT_TRUE(owner->Change(kSpeed, "2"));
    StartHub();
    EXPECT_TRUE(Hears(changes, "2"));
    EXPECT_TRUE(Eventually([&] { return connections == 2; }));
    ASSERT_TRUE(Eventually([&] { return client->IsConnected(); }));
    EXPECT_EQ(client->WriteAndWait(kSpeed, "3")->value, "3");
}

TEST_F(Client, APropertyLeftByAnEarlierRunIsTakenOver) {
    ASSERT_TRUE(Connect()->Announce({Speed("1")}));
    const auto client = Connect();
    EXPECT_EQ(ValueOf(*client, kSpeed), "1");
    const auto owner = Connect();
    ASSERT_TRUE(owner->Announce({Speed("2")}));
    EXPECT_EQ(client->WriteAndWait(kSpeed, "3")->value, "3");
}

TEST_F(Client, AHubThatIsSilentIsNoticedInTime) {
    const auto hub = Connect({}, 200);
    process->Signal(SIGSTOP);
    EXPECT_EQ(hub->Read(kPeriod).error().code, ErrorCode::TimedOut);
    process->Signal(SIGCONT);
    // The late answer isn't used as the answer to the next question.
    EXPECT_TRUE(Eventually([&] { return ValueOf(*hub, kPeriod) == "500"; }));
    EXPECT_EQ(Hub::Connect(Endpoint::Device("/nonexistent")).error().code, ErrorCode::NoConnection);
}

TEST_F(Client, OverTcpLessIsSeen) {
    auto hub = Hub::Connect(Endpoint::Tcp("127.0.0.1", process->Port()));
    ASSERT_TRUE(hub);
    EXPECT_EQ((*hub)->Read(kPeriod).error().code, ErrorCode::NotFound);
    EXPECT_EQ((*hub)->ReadGroup("222D688A-1554-4C0E-B7A0-0BC377EF4071")->size(), 10U);
}

TEST_F(Client, OneSpoiledNameDoesNotHideTheOthers) {
    test::FrameClient careless = process->Device("PRN1");
    careless.Send(
        R"({"PropertyGetResponses": [{"Component": "C","ComponentString": "Careless","GUID": "G:P","GroupString": "G","NameString": "100% - 10\" / second","Status": "Successful","Value": "a\"b"}]})");
    const auto hub = Connect();
    EXPECT_TRUE(Eventually([&] { return hub->ReadAll()->size() == test::kHubProperties + 1; }));
    const auto property = hub->Read({"C", "G", "P"});
    ASSERT_TRUE(property);
    EXPECT_EQ(property->name, "100% - 10\" / second");
    EXPECT_EQ(property->value, "a\"b");
}

TEST(Recovery, GivesNothingForNoise) {
    for (const char* text :
         {"", "{", "{\"PropertyGetResponses\": [{\"Component\": \"",
          "{\"PropertyGetResponses\": [{\"Component\": \"a\",\"GUID\": \"b", "<html>"}) {
        PropertyMessage message;
        Recover(text, message);
        std::deque<PropertyResponse> records;
        message.DecodeGetResponses(records);
        EXPECT_TRUE(records.empty()) << text;
    }
}

TEST(Endpoint, IsReadFromText) {
    EXPECT_EQ(Endpoint::ParseTcp("printer")->Name(), "printer:9102");
    EXPECT_EQ(Endpoint::ParseTcp("10.0.0.1:80")->port, 80);
    for (const char* text :
         {"", ":80", "host:", "host:x", "host:65536", "[::1]", "[::1]:9102", "::1"}) {
        EXPECT_FALSE(Endpoint::ParseTcp(text)) << text;
    }
}

}  // namespace
}  // namespace vantry::client
